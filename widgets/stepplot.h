#pragma once

#include <QDateTime>
#include <QList>
#include <QWidget>

/// Values that hold from one time to the next, as steps. The mouse, or the arrow keys, go from
/// point to point, of which value and time are told.
class StepPlot final : public QWidget
{
    Q_OBJECT

public:
    struct Point
    {
        QDateTime time;
        double value = 0;
        QString text; ///< what is told of it
    };

    explicit StepPlot(QWidget *parent = nullptr);

    /// Sets the points, in the order of their times; the last one becomes the current one.
    void setPoints(const QList<Point> &points);

    /// What stands in place of a plot without points.
    void setEmptyText(const QString &text);

    /// The number of the current point, -1 for none.
    int current() const;
    void setCurrent(int point);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    /// Round values between two, in steps of 1, 2 or 5 times a power of ten, at most so many.
    static QList<double> roundValues(double low, double high, int most);

signals:
    void currentChanged(int point);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    struct Axes;

    Axes axes() const;
    void goTo(const QPoint &place);
    void paintAxes(QPainter &painter, const Axes &axes) const;
    void paintSteps(QPainter &painter, const Axes &axes) const;
    void paintCurrent(QPainter &painter, const Axes &axes) const;

    QList<Point> m_points;
    QString m_emptyText;
    int m_current = -1;
};
