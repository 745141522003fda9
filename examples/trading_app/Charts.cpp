#include "Charts.h"

#include "Market.h"

#include <QtCore/QLocale>
#include <QtGui/QLinearGradient>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>

#include <algorithm>
#include <cmath>

namespace {

constexpr double scaleWidth = 76;
constexpr int scaleLines = 6;

QColor faded(QColor color, double alpha)
{
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

} // namespace

Sparkline::Sparkline(QQuickItem* parent)
    : QQuickPaintedItem(parent)
{
    setAntialiasing(true);
    connect(this, &Sparkline::changed, this, [this] { update(); });
}

void Sparkline::paint(QPainter* painter)
{
    if (m_values.size() < 2 || width() < 4 || height() < 4)
        return;
    const auto [low, high] = std::ranges::minmax(m_values);
    const double range = std::max(high - low, 1e-12);
    const double step = width() / static_cast<double>(m_values.size() - 1);
    QPainterPath curve;
    for (qsizetype index = 0; index < m_values.size(); ++index) {
        const QPointF point(static_cast<double>(index) * step,
            2 + (height() - 4) * (1 - (m_values[index] - low) / range));
        if (index == 0)
            curve.moveTo(point);
        else
            curve.lineTo(point);
    }
    QPainterPath area = curve;
    area.lineTo(width(), height());
    area.lineTo(0, height());
    area.closeSubpath();
    QLinearGradient gradient(0, 0, 0, height());
    gradient.setColorAt(0, faded(m_color, 0.28));
    gradient.setColorAt(1, faded(m_color, 0));
    painter->fillPath(area, gradient);
    painter->setPen(QPen(m_color, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter->drawPath(curve);
}

CandleChart::CandleChart(QQuickItem* parent)
    : QQuickPaintedItem(parent)
{
    setAntialiasing(true);
    connect(this, &CandleChart::changed, this, [this] { update(); });
}

void CandleChart::setPair(ChosenPair* pair)
{
    if (pair == m_pair)
        return;
    if (m_pair)
        disconnect(m_pair, nullptr, this, nullptr);
    m_pair = pair;
    if (m_pair)
        connect(m_pair, &ChosenPair::moved, this, [this] { update(); });
    Q_EMIT changed();
}

void CandleChart::paint(QPainter* painter)
{
    if (!m_pair || width() <= scaleWidth || height() < 40)
        return;
    const Pair& pair = m_pair->pair();
    const double margin = 14;
    const double plotWidth = width() - scaleWidth;
    const QList<Candle> candles = pair.candles.last(
        std::clamp<qsizetype>(static_cast<qsizetype>(plotWidth / 9), 1, pair.candles.size()));
    const double low = std::ranges::min(candles, {}, &Candle::low).low;
    const double high = std::ranges::max(candles, {}, &Candle::high).high;
    const auto yOf = [&](double price) {
        return margin + (height() - 2 * margin) * (1 - (price - low) / std::max(high - low, 1e-12));
    };
    const QLocale english(QLocale::English);
    const auto textOf = [&](double price) { return english.toString(price, 'f', pair.decimals); };

    QFont font = painter->font();
    font.setPixelSize(11);
    painter->setFont(font);
    for (int line = 0; line < scaleLines; ++line) {
        const double price = low + (high - low) * line / (scaleLines - 1);
        const double y = std::round(yOf(price)) + 0.5;
        painter->setPen(QPen(m_grid, 1));
        painter->drawLine(QPointF(0, y), QPointF(plotWidth, y));
        painter->setPen(m_label);
        painter->drawText(QRectF(plotWidth + 10, y - 9, scaleWidth - 10, 18),
            Qt::AlignLeft | Qt::AlignVCenter, textOf(price));
    }

    const double step = plotWidth / static_cast<double>(candles.size());
    const double body = std::max(2.0, std::floor(step * 0.64));
    for (qsizetype index = 0; index < candles.size(); ++index) {
        const Candle& candle = candles[index];
        const QColor color = candle.close >= candle.open ? m_up : m_down;
        const double middle = std::floor((static_cast<double>(index) + 0.5) * step) + 0.5;
        painter->setPen(QPen(color, 1));
        painter->drawLine(QPointF(middle, yOf(candle.high)), QPointF(middle, yOf(candle.low)));
        const double top = yOf(std::max(candle.open, candle.close));
        const double bottom = yOf(std::min(candle.open, candle.close));
        painter->fillRect(QRectF(middle - body / 2, top, body, std::max(1.0, bottom - top)), color);
    }

    const double y = std::round(yOf(pair.price)) + 0.5;
    const QColor color = candles.last().close >= candles.last().open ? m_up : m_down;
    painter->setPen(QPen(color, 1, Qt::DashLine));
    painter->drawLine(QPointF(0, y), QPointF(plotWidth, y));
    const QRectF tag(plotWidth + 4, y - 10, scaleWidth - 4, 20);
    painter->setPen(Qt::NoPen);
    painter->setBrush(color);
    painter->drawRoundedRect(tag, 4, 4);
    painter->setPen(QColor("#0d1117"));
    painter->drawText(
        tag.adjusted(6, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter, textOf(pair.price));
}
