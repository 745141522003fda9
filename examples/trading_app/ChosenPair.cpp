#include "ChosenPair.h"

#include "Market.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int levels = 11;
constexpr int tradesShown = 22;

} // namespace

ChosenPair::ChosenPair(Market& market, unsigned seed)
    : m_market(market)
    , m_random(seed)
    , m_bids(levels)
    , m_asks(levels)
    , m_trades(tradesShown)
{
    connect(&market, &Market::moved, this, [this] {
        if (pair().direction != 0)
            addTrade();
        follow();
    });
    setName(market.pairs().first().name);
}

void ChosenPair::setName(const QString& name)
{
    if (name == m_name || !m_market.find(name))
        return;
    m_name = name;
    makeTrades();
    Q_EMIT nameChanged();
    follow();
}

const Pair& ChosenPair::pair() const
{
    return *m_market.find(m_name);
}

QString ChosenPair::fullName() const
{
    return pair().fullName;
}

int ChosenPair::decimals() const
{
    return pair().decimals;
}

double ChosenPair::price() const
{
    return pair().price;
}

double ChosenPair::change() const
{
    return pair().change();
}

double ChosenPair::high() const
{
    return pair().high;
}

double ChosenPair::low() const
{
    return pair().low;
}

double ChosenPair::volume() const
{
    return pair().volume;
}

int ChosenPair::direction() const
{
    return pair().direction;
}

double ChosenPair::spread() const
{
    return m_asks.rows().last().price - m_bids.rows().first().price;
}

void ChosenPair::follow()
{
    m_bids.setRows(orders(-1));
    auto asks = orders(1);
    std::ranges::reverse(asks);
    m_asks.setRows(std::move(asks));
    Q_EMIT moved();
}

QList<OrderRows::Row> ChosenPair::orders(int side)
{
    const double tick = std::pow(10, -decimals());
    const double gap = std::max(tick, price() * 0.00012);
    double place = price();
    double total = 0;
    QList<OrderRows::Row> rows;
    for (int level = 0; level < levels; ++level) {
        place += side * gap * std::uniform_real_distribution<double>(0.5, 1.5)(m_random);
        const double amount = randomAmount();
        total += amount;
        rows.append({ .price = std::round(place / tick) * tick,
            .amount = amount,
            .total = total,
            .isBuy = side < 0 });
    }
    for (OrderRows::Row& row : rows)
        row.share = row.total / total;
    return rows;
}

// Those before the pair was chosen, back in time.
void ChosenPair::makeTrades()
{
    QTime time = QTime::currentTime();
    double price = pair().price;
    QList<OrderRows::Row> rows;
    for (int count = 0; count < tradesShown; ++count) {
        rows.append(randomTrade(price, time));
        time = time.addMSecs(-std::uniform_int_distribution<int>(300, 3'000)(m_random));
        price *= std::normal_distribution<double>(1, pair().restlessness / 3)(m_random);
    }
    m_trades.setRows(std::move(rows));
}

void ChosenPair::addTrade()
{
    auto rows = m_trades.rows();
    rows.removeLast();
    rows.prepend(randomTrade(price(), QTime::currentTime()));
    m_trades.setRows(std::move(rows));
}

OrderRows::Row ChosenPair::randomTrade(double price, const QTime& time)
{
    const double spread = price * 0.00008;
    const bool isBuy = std::uniform_int_distribution<int>(0, 1)(m_random) == 1;
    return { .price = price + (isBuy ? spread : -spread),
        .amount = randomAmount() / 3,
        .isBuy = isBuy,
        .time = time.toString("HH:mm:ss") };
}

// About a few thousand dollars' worth.
double ChosenPair::randomAmount()
{
    return std::lognormal_distribution<double>(9, 0.9)(m_random) / price();
}
