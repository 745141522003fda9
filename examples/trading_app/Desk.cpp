#include "Desk.h"

#include "Market.h"

#include <Telvora/Telvora.h>

#include <QtCore/QDateTime>

#include <chrono>
#include <thread>

using telvora::TrackerManager;

namespace {

constexpr qsizetype ordersKept = 50;
// No order is filled at once: it has a way to go.
constexpr qint64 wayOfAnOrder = 300;

// Unlike a report, an event has no time of its own.
void send(const char* name, telvora::Dictionary event)
{
    event["name"] = name;
    event["time"] = static_cast<double>(QDateTime::currentMSecsSinceEpoch()) / 1000;
    TrackerManager::shared().enrollE2ETrack(std::move(event));
}

} // namespace

Desk::Desk(const Market& market, QString collector)
    : m_market(market)
    , m_collector(std::move(collector))
{
    connect(&market, &Market::moved, this, &Desk::fillOrders);
}

QVariantList Desk::orders() const
{
    QVariantList orders;
    for (const Order& order : m_orders) {
        orders.append(QVariantMap { { "number", order.number }, { "pair", order.pair },
            { "side", order.isBuy ? "buy" : "sell" }, { "price", order.price },
            { "decimals", m_market.find(order.pair)->decimals }, { "amount", order.amount },
            { "state", order.state }, { "time", order.time } });
    }
    return orders;
}

QString Desk::submit(const QString& side, const QString& pair, double price, double amount)
{
    const Pair* const found = m_market.find(pair);
    if (!found)
        return "There is no such pair";
    Order order { .pair = pair,
        .isBuy = side == "buy",
        .price = price > 0 ? price : found->price,
        .amount = amount,
        .state = "open",
        .time = QTime::currentTime().toString("HH:mm:ss") };
    const QString refusal = refusalOf(order);
    if (!refusal.isEmpty()) {
        send("order.refused",
            { { "pair", pair.toStdString() }, { "reason", refusal.toStdString() } });
        return refusal;
    }

    order.number = ++m_lastNumber;
    order.sinceSubmit.start();
    send("order.submit",
        { { "order", order.number }, { "pair", pair.toStdString() }, { "side", side.toStdString() },
            { "price", order.price }, { "amount", amount } });
    setAside(order, -1);
    m_orders.prepend(std::move(order));
    if (m_orders.size() > ordersKept && m_orders.last().state != "open")
        m_orders.removeLast();
    Q_EMIT changed();
    return {};
}

void Desk::cancel(int number)
{
    for (Order& order : m_orders) {
        if (order.number != number || order.state != "open")
            continue;
        order.state = "cancelled";
        setAside(order, 1);
        send("order.cancel", { { "order", number } });
        Q_EMIT changed();
        return;
    }
}

QString Desk::refusalOf(const Order& order) const
{
    if (!(order.amount > 0))
        return "The amount must be above zero";
    if (order.isBuy && order.price * order.amount * (1 + fee()) > m_cash)
        return "That is more than your balance";
    const QString base = baseOf(order.pair);
    if (!order.isBuy && order.amount > m_holdings.value(base).toDouble())
        return "You do not have so much " + base;
    return {};
}

void Desk::fillOrders()
{
    // A listener may submit an order.
    for (qsizetype index = 0; index < m_orders.size(); ++index) {
        Order& order = m_orders[index];
        if (order.state != "open" || order.sinceSubmit.elapsed() < wayOfAnOrder)
            continue;
        const double price = m_market.find(order.pair)->price;
        // A market order has the price of its moment; a small move against it is borne.
        const double borne = order.price * 0.0005;
        if (order.isBuy ? price <= order.price + borne : price >= order.price - borne)
            fill(order, price);
    }
}

void Desk::fill(Order& order, double price)
{
    setAside(order, 1);
    order.price = price;
    order.state = "filled";
    const double value = order.price * order.amount;
    QVariant& holding = m_holdings[baseOf(order.pair)];
    holding = holding.toDouble() + (order.isBuy ? order.amount : -order.amount);
    m_cash += order.isBuy ? -value * (1 + fee()) : value * (1 - fee());
    send("order.filled",
        { { "order", order.number }, { "ms", qint64 { order.sinceSubmit.elapsed() } } });
    const QString text = QString("%1 %2 %3, filled")
                             .arg(order.isBuy ? "Bought" : "Sold")
                             .arg(order.amount)
                             .arg(baseOf(order.pair));
    Q_EMIT changed();
    Q_EMIT said(text);
}

void Desk::setAside(const Order& order, int sign)
{
    if (order.isBuy) {
        m_cash += sign * order.price * order.amount * (1 + fee());
    } else {
        QVariant& holding = m_holdings[baseOf(order.pair)];
        holding = holding.toDouble() + sign * order.amount;
    }
}

void Desk::noteSetting(const QString& name, const QVariant& value) const
{
    send("setting.changed",
        { { "setting", name.toStdString() }, { "value", value.toString().toStdString() } });
}

QVariantList Desk::channels() const
{
    QVariantList channels;
    for (const auto& [name, ledger] : TrackerManager::shared().ledgers()) {
        const telvora::LedgerAccount& events = ledger.events;
        // Events for channels that are not registered have a ledger, too.
        if (name.empty() && events.accepted == 0)
            continue;
        const qint64 waiting = events.pending + events.inFlight + events.waiting;
        channels.append(QVariantMap { { "name", QString::fromStdString(name) },
            { "accepted", qint64 { events.accepted } },
            { "delivered", qint64 { events.delivered } }, { "waiting", waiting },
            { "dropped", qint64 { events.dropped.total() } } });
    }
    return channels;
}

void Desk::block(int milliseconds) const
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}
