#pragma once

#include <QObject>
#include <QPixmap>
#include <QString>
#include <QTimer>

class PixmapWidget;

/// Shows the first picture of the current product of a list beside it. Products that the user only
/// comes past cost nothing: it is read and fetched once he stays.
class WarePicture final : public QObject
{
    Q_OBJECT

public:
    /// Lives as long as the widget.
    explicit WarePicture(PixmapWidget *widget);

    /// Goes on to a product; 0: to none.
    void show(qulonglong wareid);

    /// Looks again, after the card of the product may have changed it.
    void refresh();

private:
    void look();
    void showThumbnail(const QString &fileName, const QPixmap &pixmap);
    void showNone(const QString &fileName);
    void letGo();

    PixmapWidget *m_widget;
    QTimer m_timer;
    qulonglong m_wareid = 0;
    QString m_fileName; ///< what has been asked for, or is shown
};
