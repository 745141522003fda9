#pragma once

#include "ChosenPair.h"

#include <QtCore/QList>
#include <QtCore/QPointer>
#include <QtGui/QColor>
#include <QtQuick/QQuickPaintedItem>

/// A small curve with a faint area below it. QML derives from it, as from the chart.
class Sparkline : public QQuickPaintedItem {
    Q_OBJECT
    Q_PROPERTY(QList<double> values MEMBER m_values NOTIFY changed)
    Q_PROPERTY(QColor color MEMBER m_color NOTIFY changed)

public:
    explicit Sparkline(QQuickItem* parent = nullptr);

    void paint(QPainter* painter) override;

Q_SIGNALS:
    void changed();

private:
    QList<double> m_values;
    QColor m_color;
};

/// The candles of the chosen pair, with a scale and the last price.
class CandleChart : public QQuickPaintedItem {
    Q_OBJECT
    Q_PROPERTY(ChosenPair* pair READ pair WRITE setPair NOTIFY changed)
    Q_PROPERTY(QColor up MEMBER m_up NOTIFY changed)
    Q_PROPERTY(QColor down MEMBER m_down NOTIFY changed)
    Q_PROPERTY(QColor grid MEMBER m_grid NOTIFY changed)
    Q_PROPERTY(QColor label MEMBER m_label NOTIFY changed)

public:
    explicit CandleChart(QQuickItem* parent = nullptr);

    ChosenPair* pair() const { return m_pair; }
    void setPair(ChosenPair* pair);

    void paint(QPainter* painter) override;

Q_SIGNALS:
    void changed();

private:
    QPointer<ChosenPair> m_pair;
    QColor m_up;
    QColor m_down;
    QColor m_grid;
    QColor m_label;
};
