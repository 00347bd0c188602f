#pragma once

#include <QImage>
#include <QPixmap>
#include <QWidget>

#include "images/imageprocessing.h"

/// Shows a whole original with the frame that is cut out of it. The frame is moved with the mouse
/// or the arrows, and made larger or smaller by its corners or with + and -.
class FrameView final : public QWidget
{
    Q_OBJECT

public:
    explicit FrameView(QWidget *parent = nullptr);

    /// original: the size of the picture, which may come smaller.
    void setImage(const QImage &image, const QSize &original);

    /// The frame in pixels of the original. movable: whether the user may move it.
    void setFrame(const ImageFrame &frame, double angle, bool movable);

    QSize sizeHint() const override;

signals:
    /// The user wants the frame to be there.
    void frameChanged(const QPoint &center, int width);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    enum class Grip { None, Inside, Corner };

    QTransform toWidget() const;
    QTransform toFrame() const;
    QPolygonF corners() const;
    Grip gripAt(const QPointF &place) const;
    void drag(const QPointF &place);
    void change(const QPointF &center, double width);

    QPixmap m_pixmap;
    QSize m_original;
    ImageFrame m_frame = {};
    double m_angle = 0;
    bool m_movable = false;
    Grip m_grip = Grip::None;
    QPointF m_offset; ///< of the centre from where the frame was taken
};
