#pragma once

#include <QIcon>
#include <QList>
#include <QMultiHash>
#include <QSize>
#include <QString>
#include <QWidget>

#include <functional>

#include "catalogue/wareimages.h"

class ImageIntake;
class QLabel;
class QListWidget;
class QPixmap;
class QPushButton;
struct ImageSource;

/// The pictures of a product in their order, as thumbnails: to add (Ins, from files, by drag and
/// drop, from the clipboard), edit with its title (Return, double click), move (Ctrl and
/// an arrow) and delete (Del). What is done is written at once.
class WareGallery final : public QWidget
{
    Q_OBJECT

public:
    /// wareid 0: a product that is not saved yet. productName: what it is called at present.
    WareGallery(qulonglong wareid, std::function<QString()> productName, QWidget *parent);
    ~WareGallery() override;

    QString title() const;

    /// The SELECT, without parentheses, that counts the pictures.
    QString countQuery() const;

    /// Makes the list and reads the pictures unless they are here already.
    void read();

    /// Reads the pictures anew; the place moves to one only when it is given.
    void refresh(qulonglong selectedId = 0);

    /// Whether pictures were added, changed or deleted.
    bool isTouched() const;

    /// Whether pictures are still on their way into the store.
    bool isBusy() const;

    /// Lets go of pictures that are on their way, and of a product that was not saved deletes those
    /// that were added here.
    void abandon();

    /// Adds pictures.
    void add(const QList<ImageSource> &sources);

signals:
    void counted(int rows);
    /// No picture is on its way any more. failed: some did not come in, which was told.
    void settled(bool failed);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void makeList();
    void makeButtons();
    void watchThumbnails();
    void showImages(const QList<WareImage> &images);
    void requestVisible();
    QIcon iconOf(const QPixmap &pixmap) const;
    void showThumbnail(const QString &fileName, const QPixmap &pixmap);
    QList<qulonglong> selectedIds() const;
    qulonglong currentId() const;
    void chooseFiles();
    void paste();
    void editCurrent();
    void moveForward();
    void moveBack();
    void move(bool forward);
    void deleteSelected();
    void tellProgress(int number, int total);
    void tell(const QString &text, bool warning);
    void settle(const QStringList &refusals, const QString &fault);

    qulonglong m_wareid;
    std::function<QString()> m_productName;
    ImageIntake *m_intake;
    QListWidget *m_list = nullptr;
    QLabel *m_status = nullptr;
    QPushButton *m_stop = nullptr;
    QList<WareImage> m_images;         ///< in the order of the list
    QMultiHash<QString, int> m_rowsOf; ///< by the file of the thumbnail
    QList<qulonglong> m_addedHere;     ///< of a product that is not saved yet
    QSize m_iconSize;
    bool m_touched = false;
    bool m_requestPending = false;
};
