#include "widgets/stepplot.h"

#include "db/money.h"
#include "widgets/colors.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace {

constexpr int gap = 6;        // px
constexpr int leastRoom = 40; // px, in which axes make sense
constexpr qint64 day = 24LL * 3600;

/// A step of the axis of time: so many months or, without months, seconds.
struct TimeStep
{
    qint64 seconds = 0;
    int months = 0;
    const char *format;

    /// Seconds, roughly.
    qint64 length() const
    {
        return months > 0 ? months * 30 * day : seconds;
    }
};

constexpr TimeStep timeSteps[] = {
    {60, 0, "dd.MM hh:mm"},
    {600, 0, "dd.MM hh:mm"},
    {3600, 0, "dd.MM hh:mm"},
    {6 * 3600, 0, "dd.MM hh:mm"},
    {day, 0, "dd.MM.yyyy"},
    {2 * day, 0, "dd.MM.yyyy"},
    {7 * day, 0, "dd.MM.yyyy"},
    {14 * day, 0, "dd.MM.yyyy"},
    {0, 1, "MM.yyyy"},
    {0, 3, "MM.yyyy"},
    {0, 6, "MM.yyyy"},
    {0, 12, "yyyy"},
    {0, 24, "yyyy"},
    {0, 60, "yyyy"},
    {0, 120, "yyyy"},
    {0, 600, "yyyy"},
};

/// The first round time at or behind a time.
QDateTime firstRound(const QDateTime &time, const TimeStep &step)
{
    if (step.months == 0) {
        // Days and weeks from local midnight on.
        const QDateTime midnight = time.date().startOfDay();
        const qint64 within = midnight.secsTo(time);
        return midnight.addSecs((within + step.seconds - 1) / step.seconds * step.seconds);
    }
    const int months = time.date().year() * 12 + time.date().month() - 1;
    QDateTime round = QDate(months / 12, 1 + months % 12, 1).startOfDay();
    while (round < time || (round.date().year() * 12 + round.date().month() - 1) % step.months != 0)
        round = round.date().addMonths(1).startOfDay();
    return round;
}

QDateTime nextRound(const QDateTime &time, const TimeStep &step)
{
    if (step.months > 0)
        return time.date().addMonths(step.months).startOfDay();
    return step.seconds % day == 0 ? time.date().addDays(step.seconds / day).startOfDay()
                                   : time.addSecs(step.seconds);
}

} // namespace

/// Where times and values lie on the widget.
struct StepPlot::Axes
{
    QRectF area;
    qint64 begin = 0; ///< seconds since the epoch
    qint64 end = 0;
    double low = 0;
    double high = 0;
    QList<double> values;

    double x(const QDateTime &time) const
    {
        return area.left() +
               area.width() * double(time.toSecsSinceEpoch() - begin) / double(end - begin);
    }

    double y(double value) const
    {
        return area.bottom() - area.height() * (value - low) / (high - low);
    }
};

StepPlot::StepPlot(QWidget *parent)
    : QWidget(parent)
{
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
}

void StepPlot::setPoints(const QList<Point> &points)
{
    m_points = points;
    m_current = -1;
    setCurrent(int(points.size()) - 1);
    update();
}

void StepPlot::setEmptyText(const QString &text)
{
    m_emptyText = text;
    update();
}

int StepPlot::current() const
{
    return m_current;
}

void StepPlot::setCurrent(int point)
{
    if (point == m_current || point < -1 || point >= m_points.size())
        return;
    m_current = point;
    setAccessibleDescription(point >= 0 ? m_points.at(point).text : m_emptyText);
    update();
    emit currentChanged(point);
}

QSize StepPlot::sizeHint() const
{
    const int sign = fontMetrics().height();
    return {30 * sign, 14 * sign};
}

QSize StepPlot::minimumSizeHint() const
{
    return sizeHint() / 2;
}

QList<double> StepPlot::roundValues(double low, double high, int most)
{
    if (!(high > low) || most < 1)
        return {low};
    const double raw = (high - low) / most;
    const double power = std::pow(10, std::floor(std::log10(raw)));
    double step = 10 * power;
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= raw) {
            step = factor * power;
            break;
        }
    }
    QList<double> values;
    for (double i = std::ceil(low / step); i * step <= high + step * 1e-9; ++i)
        values += i * step;
    return values;
}

StepPlot::Axes StepPlot::axes() const
{
    Axes axes;
    axes.begin = m_points.first().time.toSecsSinceEpoch();
    axes.end = m_points.last().time.toSecsSinceEpoch();
    // The last price holds on; a single point stands in the middle of a month.
    const qint64 length = axes.end - axes.begin;
    axes.end += length > 0 ? std::max<qint64>(length / 12, 60) : 15 * day;
    if (length == 0)
        axes.begin -= 15 * day;

    const auto less = [](const Point &a, const Point &b) {
        return a.value < b.value;
    };
    const auto [lowest, highest] = std::minmax_element(m_points.begin(), m_points.end(), less);
    const double spread =
        std::max(highest->value - lowest->value, std::max(std::abs(highest->value) * 0.2, 0.01));
    axes.low = lowest->value - spread * 0.15;
    axes.high = highest->value + spread * 0.3; // room for what is told of the current point
    if (lowest->value >= 0)
        axes.low = std::max(axes.low, 0.0);

    const int line = fontMetrics().height();
    const int rows = std::max(2, height() / (3 * line));
    axes.values = roundValues(axes.low, axes.high, rows);
    int labels = 0;
    for (const double value : std::as_const(axes.values))
        labels = std::max(labels, fontMetrics().horizontalAdvance(formatMoney(value)));
    axes.area = QRectF(rect()).adjusted(labels + 2 * gap, line / 2.0 + gap, -gap, -line - 2 * gap);
    return axes;
}

void StepPlot::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().base());
    if (m_points.isEmpty()) {
        painter.setPen(palette().color(QPalette::Text));
        painter.drawText(rect().adjusted(gap, gap, -gap, -gap), Qt::AlignCenter | Qt::TextWordWrap,
                         m_emptyText);
    } else {
        const Axes where = axes();
        if (where.area.width() > leastRoom && where.area.height() > leastRoom) {
            paintAxes(painter, where);
            paintSteps(painter, where);
            paintCurrent(painter, where);
        }
    }
    painter.setPen(hasFocus() ? palette().color(QPalette::Highlight)
                              : palette().color(QPalette::Mid));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void StepPlot::paintAxes(QPainter &painter, const Axes &axes) const
{
    const QColor text = palette().color(QPalette::Text);
    const QColor faint = blendColors(palette().color(QPalette::Base), text, 0.15);
    const int line = fontMetrics().height();
    for (const double value : axes.values) {
        const double y = axes.y(value);
        painter.setPen(faint);
        painter.drawLine(QPointF(axes.area.left(), y), QPointF(axes.area.right(), y));
        painter.setPen(text);
        painter.drawText(QRectF(gap, y - line, axes.area.left() - 2 * gap, 2.0 * line),
                         Qt::AlignRight | Qt::AlignVCenter, formatMoney(value));
    }
    const int label = fontMetrics().horizontalAdvance(QStringLiteral("00.00.0000 ")) + gap;
    const qint64 least = qint64(double(axes.end - axes.begin) * label / axes.area.width());
    const auto *step = std::find_if(std::begin(timeSteps), std::end(timeSteps) - 1,
                                    [&](const TimeStep &one) { return one.length() >= least; });
    const QDateTime end = QDateTime::fromSecsSinceEpoch(axes.end);
    for (QDateTime time = firstRound(QDateTime::fromSecsSinceEpoch(axes.begin), *step); time <= end;
         time = nextRound(time, *step)) {
        const double x = axes.x(time);
        painter.setPen(faint);
        painter.drawLine(QPointF(x, axes.area.top()), QPointF(x, axes.area.bottom()));
        painter.setPen(text);
        QRectF place(x - label / 2.0, axes.area.bottom() + gap, label, line);
        place.moveRight(std::min(place.right(), double(width()) - gap / 2.0));
        place.moveLeft(std::max(place.left(), gap / 2.0));
        painter.drawText(place, Qt::AlignCenter, time.toString(QLatin1String(step->format)));
    }
}

void StepPlot::paintSteps(QPainter &painter, const Axes &axes) const
{
    QPainterPath path(QPointF(axes.x(m_points.first().time), axes.y(m_points.first().value)));
    for (const Point &point : m_points) {
        const double x = axes.x(point.time);
        path.lineTo(x, path.currentPosition().y());
        path.lineTo(x, axes.y(point.value));
    }
    path.lineTo(axes.area.right(), path.currentPosition().y());
    painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
    painter.drawPath(path);
}

void StepPlot::paintCurrent(QPainter &painter, const Axes &axes) const
{
    if (m_current < 0)
        return;
    const Point &point = m_points.at(m_current);
    const QPointF place(axes.x(point.time), axes.y(point.value));
    const QColor text = palette().color(QPalette::Text);
    painter.setPen(QPen(text, 1, Qt::DashLine));
    painter.drawLine(QPointF(place.x(), axes.area.top()), QPointF(place.x(), axes.area.bottom()));
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(text);
    painter.setBrush(palette().color(QPalette::Highlight));
    painter.drawEllipse(place, 4, 4);
    const QSizeF size(fontMetrics().horizontalAdvance(point.text) + 2 * gap,
                      fontMetrics().height() + gap);
    QRectF box(QPointF(place.x() + gap, axes.area.top()), size);
    if (box.right() > axes.area.right())
        box.moveRight(std::max(place.x() - gap, axes.area.left() + size.width()));
    painter.setBrush(palette().color(QPalette::Base));
    painter.drawRoundedRect(box, 3, 3);
    painter.drawText(box, Qt::AlignCenter, point.text);
}

/// The value under the pointer is that of the last point at or before it.
void StepPlot::goTo(const QPoint &place)
{
    if (m_points.isEmpty())
        return;
    const Axes where = axes();
    const auto behind = [&](double x, const Point &point) {
        return x < where.x(point.time);
    };
    const auto next = std::upper_bound(m_points.begin(), m_points.end(), double(place.x()), behind);
    setCurrent(std::max(0, int(next - m_points.begin()) - 1));
}

void StepPlot::mouseMoveEvent(QMouseEvent *event)
{
    goTo(event->pos());
}

void StepPlot::mousePressEvent(QMouseEvent *event)
{
    goTo(event->pos());
}

void StepPlot::keyPressEvent(QKeyEvent *event)
{
    switch (event->key()) {
    case Qt::Key_Left:
        setCurrent(std::max(0, m_current - 1));
        break;
    case Qt::Key_Right:
        setCurrent(m_current + 1);
        break;
    case Qt::Key_Home:
        setCurrent(0);
        break;
    case Qt::Key_End:
        setCurrent(int(m_points.size()) - 1);
        break;
    default:
        QWidget::keyPressEvent(event);
    }
}
