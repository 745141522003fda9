#pragma once

#include <QtCore/QAbstractListModel>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QTimer>
#include <QtCore/QVariantMap>

#include <random>

/// What one pair did in a stretch of time.
struct Candle {
    double open = 0;
    double high = 0;
    double low = 0;
    double close = 0;
};

/// A pair that is traded, and its prices.
struct Pair {
    QString name;
    QString fullName;
    int decimals = 2;
    double price = 0;
    // How far one step moves the price, as a share of it.
    double restlessness = 0;
    double dayOpen = 0;
    double high = 0;
    double low = 0;
    // In dollars, over a day.
    double volume = 0;
    // 1 and -1: where the last step went. 0: it stood.
    int direction = 0;
    QList<Candle> candles {};

    double change() const { return (price - dayOpen) / dayOpen * 100; }
};

/// The pairs of the market. Their prices walk at random, the same way for the same seed.
///
/// Threads: the GUI thread.
class Market final : public QAbstractListModel {
    Q_OBJECT
    /// Milliseconds between two steps.
    Q_PROPERTY(int pace READ pace WRITE setPace NOTIFY paceChanged)
    Q_PROPERTY(QVariantMap best READ best NOTIFY moved)
    Q_PROPERTY(QVariantMap worst READ worst NOTIFY moved)
    Q_PROPERTY(QVariantMap busiest READ busiest NOTIFY moved)

public:
    explicit Market(unsigned seed);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    int pace() const { return m_timer.interval(); }
    void setPace(int milliseconds);

    QVariantMap best() const;
    QVariantMap worst() const;
    QVariantMap busiest() const;

    const QList<Pair>& pairs() const { return m_pairs; }
    /// Null if there is no such pair.
    const Pair* find(const QString& name) const;

Q_SIGNALS:
    void moved();
    void paceChanged();

private:
    void step();
    void walk(Pair& pair);
    static QVariantMap describe(const Pair& pair);

    std::mt19937 m_random;
    QList<Pair> m_pairs;
    QTimer m_timer;
    int m_steps = 0;
};
