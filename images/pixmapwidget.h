#pragma once

#include <QPixmap>
#include <QString>
#include <QWidget>

/// Shows one picture as large as there is room, never larger than it is, in the middle; without one
/// a text.
class PixmapWidget final : public QWidget
{
    Q_OBJECT

public:
    explicit PixmapWidget(QWidget *parent = nullptr);

    void setPixmap(const QPixmap &pixmap);
    const QPixmap &pixmap() const;

    /// What stands there without a picture.
    void setText(const QString &text);
    QString text() const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QPixmap m_pixmap;
    QPixmap m_scaled; ///< as it was painted last
    QString m_text;
};
