#include "Market.h"

#include <algorithm>

namespace {

enum Role {
    nameRole = Qt::UserRole,
    fullNameRole,
    priceRole,
    decimalsRole,
    changeRole,
    highRole,
    lowRole,
    volumeRole,
    directionRole,
    closesRole,
};

constexpr int stepsInCandle = 16;
constexpr int candlesKept = 72;
// One pair in so many moves with a step, so that the list does not flicker.
constexpr int oneMovesIn = 3;

QList<double> closesOf(const Pair& pair)
{
    QList<double> closes;
    closes.reserve(pair.candles.size());
    for (const Candle& candle : pair.candles)
        closes.append(candle.close);
    return closes;
}

} // namespace

Market::Market(unsigned seed)
    : m_random(seed)
    , m_pairs {
        { "BTC/USD", "Bitcoin", 1, 64'210.5, 0.0009, 0, 0, 0, 28.4e9 },
        { "ETH/USD", "Ether", 2, 3'184.2, 0.0012, 0, 0, 0, 14.1e9 },
        { "SOL/USD", "Solana", 2, 148.62, 0.0019, 0, 0, 0, 2.94e9 },
        { "XRP/USD", "Ripple", 4, 0.5834, 0.0014, 0, 0, 0, 1.21e9 },
        { "ADA/USD", "Cardano", 4, 0.4417, 0.0016, 0, 0, 0, 412e6 },
        { "AVAX/USD", "Avalanche", 2, 34.71, 0.0021, 0, 0, 0, 388e6 },
        { "LINK/USD", "Chainlink", 3, 14.285, 0.0017, 0, 0, 0, 297e6 },
        { "DOT/USD", "Polkadot", 3, 6.913, 0.0016, 0, 0, 0, 204e6 },
        { "LTC/USD", "Litecoin", 2, 82.46, 0.0012, 0, 0, 0, 331e6 },
        { "ATOM/USD", "Cosmos", 3, 8.374, 0.0018, 0, 0, 0, 149e6 },
    }
{
    for (Pair& pair : m_pairs) {
        pair.dayOpen = pair.high = pair.low = pair.price;
        for (int candle = 0; candle < candlesKept; ++candle) {
            pair.candles.append({ pair.price, pair.price, pair.price, pair.price });
            for (int count = 0; count < stepsInCandle; ++count)
                walk(pair);
        }
        pair.direction = 0;
    }
    connect(&m_timer, &QTimer::timeout, this, &Market::step);
    m_timer.start(400);
}

int Market::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_pairs.size());
}

QVariant Market::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const Pair& pair = m_pairs[index.row()];
    switch (role) {
    case nameRole:
        return pair.name;
    case fullNameRole:
        return pair.fullName;
    case priceRole:
        return pair.price;
    case decimalsRole:
        return pair.decimals;
    case changeRole:
        return pair.change();
    case highRole:
        return pair.high;
    case lowRole:
        return pair.low;
    case volumeRole:
        return pair.volume;
    case directionRole:
        return pair.direction;
    case closesRole:
        return QVariant::fromValue(closesOf(pair));
    default:
        return {};
    }
}

QHash<int, QByteArray> Market::roleNames() const
{
    return {
        { nameRole, "name" },
        { fullNameRole, "fullName" },
        { priceRole, "price" },
        { decimalsRole, "decimals" },
        { changeRole, "change" },
        { highRole, "high" },
        { lowRole, "low" },
        { volumeRole, "volume" },
        { directionRole, "direction" },
        { closesRole, "closes" },
    };
}

void Market::setPace(int milliseconds)
{
    if (milliseconds == pace())
        return;
    m_timer.setInterval(milliseconds);
    Q_EMIT paceChanged();
}

QVariantMap Market::best() const
{
    return describe(*std::ranges::max_element(m_pairs, {}, &Pair::change));
}

QVariantMap Market::worst() const
{
    return describe(*std::ranges::min_element(m_pairs, {}, &Pair::change));
}

QVariantMap Market::busiest() const
{
    return describe(*std::ranges::max_element(m_pairs, {}, &Pair::volume));
}

const Pair* Market::find(const QString& name) const
{
    const auto found = std::ranges::find(m_pairs, name, &Pair::name);
    return found == m_pairs.end() ? nullptr : &*found;
}

void Market::step()
{
    ++m_steps;
    std::uniform_int_distribution<int> dice(1, oneMovesIn);
    for (int row = 0; row < rowCount(); ++row) {
        Pair& pair = m_pairs[row];
        if (m_steps % stepsInCandle == 0) {
            pair.candles.removeFirst();
            pair.candles.append({ pair.price, pair.price, pair.price, pair.price });
        }
        if (dice(m_random) != oneMovesIn) {
            pair.direction = 0;
            continue;
        }
        walk(pair);
        Q_EMIT dataChanged(index(row), index(row));
    }
    Q_EMIT moved();
}

void Market::walk(Pair& pair)
{
    // A faint pull towards the day's opening keeps a long session within reason.
    const double pull = (pair.dayOpen - pair.price) / pair.dayOpen * 0.002;
    std::normal_distribution<double> move(pull, pair.restlessness);
    const double before = pair.price;
    pair.price *= 1 + move(m_random);
    pair.direction = pair.price > before ? 1 : -1;
    pair.high = std::max(pair.high, pair.price);
    pair.low = std::min(pair.low, pair.price);
    pair.volume += pair.volume * 0.00001;
    Candle& candle = pair.candles.last();
    candle.high = std::max(candle.high, pair.price);
    candle.low = std::min(candle.low, pair.price);
    candle.close = pair.price;
}

QVariantMap Market::describe(const Pair& pair)
{
    return {
        { "name", pair.name },
        { "price", pair.price },
        { "decimals", pair.decimals },
        { "change", pair.change() },
        { "volume", pair.volume },
        { "closes", QVariant::fromValue(closesOf(pair)) },
    };
}
