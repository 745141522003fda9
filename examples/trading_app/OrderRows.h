#pragma once

#include <QtCore/QAbstractListModel>
#include <QtCore/QList>
#include <QtCore/QString>

/// Orders or trades at one price each. The number of rows never changes, so that a view makes its
/// items once.
///
/// Threads: the GUI thread.
class OrderRows final : public QAbstractListModel {
    Q_OBJECT

public:
    struct Row {
        double price = 0;
        double amount = 0;
        // With the rows before it.
        double total = 0;
        // Of the largest total, from 0 to 1.
        double share = 0;
        bool isBuy = false;
        QString time {};
    };

    explicit OrderRows(int count);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    const QList<Row>& rows() const { return m_rows; }
    /// As many as there were.
    void setRows(QList<Row> rows);

private:
    QList<Row> m_rows;
};
