#pragma once

#include <QtCore/QElapsedTimer>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariantList>
#include <QtCore/QVariantMap>

class Market;

/// Takes the user's orders, fills them when the market reaches their price, and tells Telvora of
/// each step.
///
/// Threads: the GUI thread.
class Desk final : public QObject {
    Q_OBJECT
    /// In dollars.
    Q_PROPERTY(double cash READ cash NOTIFY changed)
    /// How much the user has, by the base of a pair: "BTC".
    Q_PROPERTY(QVariantMap holdings READ holdings NOTIFY changed)
    /// The newest first: "number", "pair", "side", "price", "decimals", "amount", "state", "time".
    Q_PROPERTY(QVariantList orders READ orders NOTIFY changed)
    /// The share of an order's value that it costs.
    Q_PROPERTY(double fee READ fee CONSTANT)
    Q_PROPERTY(QString collector READ collector CONSTANT)

public:
    Desk(const Market& market, QString collector);

    double cash() const { return m_cash; }
    QVariantMap holdings() const { return m_holdings; }
    QVariantList orders() const;
    double fee() const { return 0.001; }
    QString collector() const { return m_collector; }

    /// `side` is "buy" or "sell"; with price 0 the market's price is taken. Returns why the order
    /// is refused; empty if it is taken.
    Q_INVOKABLE QString submit(
        const QString& side, const QString& pair, double price, double amount);
    /// Takes back an open order.
    Q_INVOKABLE void cancel(int number);

    /// The user has changed a setting.
    Q_INVOKABLE void noteSetting(const QString& name, const QVariant& value) const;
    /// What has become of the events of each channel: "name", "accepted", "delivered", "waiting"
    /// and "dropped".
    Q_INVOKABLE QVariantList channels() const;
    /// Blocks the GUI thread, as bad code would.
    Q_INVOKABLE void block(int milliseconds) const;

Q_SIGNALS:
    void changed();
    /// Something happened that the user wants to know.
    void said(const QString& text);

private:
    struct Order {
        int number = 0;
        QString pair;
        bool isBuy = false;
        // Of the order, and of the deal once it is filled.
        double price = 0;
        double amount = 0;
        QString state;
        QString time;
        QElapsedTimer sinceSubmit {};
    };

    // Why an order cannot be taken; empty if it can.
    QString refusalOf(const Order& order) const;
    void fillOrders();
    void fill(Order& order, double price);
    // What is set aside for an open order: dollars, or what is sold.
    void setAside(const Order& order, int sign);
    static QString baseOf(const QString& pair) { return pair.section('/', 0, 0); }

    const Market& m_market;
    const QString m_collector;
    double m_cash = 50'000;
    QVariantMap m_holdings { { "BTC", 0.42 }, { "ETH", 6.5 }, { "SOL", 120.0 }, { "LINK", 900.0 } };
    // The newest first.
    QList<Order> m_orders;
    int m_lastNumber = 0;
};
