#pragma once

#include "OrderRows.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QTime>

#include <random>

class Market;
struct Pair;

/// The pair that the user looks at, with the orders and trades of others.
///
/// Threads: the GUI thread.
class ChosenPair final : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged)
    /// The part of the name before the stroke: what is bought and sold.
    Q_PROPERTY(QString base READ base NOTIFY nameChanged)
    Q_PROPERTY(QString fullName READ fullName NOTIFY nameChanged)
    Q_PROPERTY(int decimals READ decimals NOTIFY nameChanged)
    Q_PROPERTY(double price READ price NOTIFY moved)
    Q_PROPERTY(double change READ change NOTIFY moved)
    Q_PROPERTY(double high READ high NOTIFY moved)
    Q_PROPERTY(double low READ low NOTIFY moved)
    Q_PROPERTY(double volume READ volume NOTIFY moved)
    Q_PROPERTY(int direction READ direction NOTIFY moved)
    /// Between the best offer and the best bid.
    Q_PROPERTY(double spread READ spread NOTIFY moved)
    Q_PROPERTY(OrderRows* bids READ bids CONSTANT)
    /// The best one last, as a ladder shows them.
    Q_PROPERTY(OrderRows* asks READ asks CONSTANT)
    Q_PROPERTY(OrderRows* trades READ trades CONSTANT)

public:
    ChosenPair(Market& market, unsigned seed);

    QString name() const { return m_name; }
    void setName(const QString& name);
    QString base() const { return m_name.section('/', 0, 0); }
    QString fullName() const;
    int decimals() const;
    double price() const;
    double change() const;
    double high() const;
    double low() const;
    double volume() const;
    int direction() const;
    double spread() const;

    OrderRows* bids() { return &m_bids; }
    OrderRows* asks() { return &m_asks; }
    OrderRows* trades() { return &m_trades; }

    const Pair& pair() const;

Q_SIGNALS:
    void nameChanged();
    void moved();

private:
    void follow();
    QList<OrderRows::Row> orders(int side);
    void makeTrades();
    void addTrade();
    OrderRows::Row randomTrade(double price, const QTime& time);
    double randomAmount();

    Market& m_market;
    std::mt19937 m_random;
    QString m_name;
    OrderRows m_bids;
    OrderRows m_asks;
    OrderRows m_trades;
};
