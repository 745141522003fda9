#include "OrderRows.h"

namespace {

enum Role { priceRole = Qt::UserRole, amountRole, totalRole, shareRole, isBuyRole, timeRole };

} // namespace

OrderRows::OrderRows(int count)
    : m_rows(count)
{
}

int OrderRows::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

QVariant OrderRows::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const Row& row = m_rows[index.row()];
    switch (role) {
    case priceRole:
        return row.price;
    case amountRole:
        return row.amount;
    case totalRole:
        return row.total;
    case shareRole:
        return row.share;
    case isBuyRole:
        return row.isBuy;
    case timeRole:
        return row.time;
    default:
        return {};
    }
}

QHash<int, QByteArray> OrderRows::roleNames() const
{
    return {
        { priceRole, "price" },
        { amountRole, "amount" },
        { totalRole, "total" },
        { shareRole, "share" },
        { isBuyRole, "isBuy" },
        { timeRole, "time" },
    };
}

void OrderRows::setRows(QList<Row> rows)
{
    Q_ASSERT(rows.size() == m_rows.size());
    m_rows = std::move(rows);
    Q_EMIT dataChanged(index(0), index(rowCount() - 1));
}
