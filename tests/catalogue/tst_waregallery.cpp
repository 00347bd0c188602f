// The pictures of the product card, from the file to the store and into the list.

#include "catalogue/waregallery.h"

#include "catalogue/imagedialog.h"
#include "catalogue/imageintake.h"
#include "catalogue/waredialog.h"
#include "catalogue/warehousedialog.h"
#include "images/imagesstore.h"
#include "images/pixmapwidget.h"
#include "images/thumbnailcache.h"
#include "tests/support/databasetest.h"
#include "tests/support/dialogsteps.h"
#include "tests/support/files.h"
#include "tests/support/widgets.h"
#include "widgets/numberspinbox.h"

#include <QClipboard>
#include <QDir>
#include <QDirIterator>
#include <QDropEvent>
#include <QMimeData>
#include <QTabWidget>

class TestWareGallery : public DialogTest
{
    Q_OBJECT

private slots:
    void droppedFiles_comeInAsTheyAre()
    {
        WareDialog card(7, nullptr);
        WareGallery *gallery = galleryOf(card);
        QMimeData files;
        files.setUrls({QUrl::fromLocalFile(picture("Кот & пёс #1.png", Qt::red)),
                       QUrl::fromLocalFile(m_home->path()),
                       QUrl::fromLocalFile(picture("b.png", Qt::blue))});
        QDragEnterEvent enter({5, 5}, Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
        QDropEvent drop({5, 5}, Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
        m_boxes->answer("OK");
        auto *list = child<QListWidget>(card, "imagesListWidget");
        QApplication::sendEvent(list->viewport(), &enter);
        QApplication::sendEvent(list->viewport(), &drop);
        QVERIFY(drop.isAccepted());
        QTRY_VERIFY(!gallery->isBusy());
        QVERIFY(m_boxes->lastText().contains("не удалось прочитать"));
        QCOMPARE(rows("SELECT wareid,ordernum,description FROM images ORDER BY id"),
                 "7\t1\tНовое изображение для \"Товар\"\n7\t2\tНовое изображение для \"Товар\"");
        QCOMPARE(readFile(stored("originals", 0)), readFile(m_home->path() + "/Кот & пёс #1.png"));
        QCOMPARE(QImage(stored("processed", 1)).size(), QSize(600, 450));
        QCOMPARE(child<QTabWidget>(card, "tabWidget")->tabText(6), "Изображения (2)");
        QTRY_COMPARE(centre(list->item(0)->icon()), QColor(Qt::red).name());

        QGuiApplication::clipboard()->setImage(QImage(20, 10, QImage::Format_RGB32));
        click(card, "imagesPastePushButton");
        QTRY_COMPARE(list->count(), 3);
        list->setCurrentRow(2);
        click(card, "imagesForwardPushButton");
        QCOMPARE(list->currentRow(), 1);
        QCOMPARE(rows("SELECT ordernum FROM images ORDER BY id"), "1\n3\n2");
        m_boxes->answer("Да");
        click(card, "imagesDeletePushButton");
        QTRY_COMPARE(storedFiles(), 6);
        QGuiApplication::clipboard()->setText("text");
        m_boxes->answer("OK");
        click(card, "imagesPastePushButton");
    }

    void cancelledCard_leavesNothing()
    {
        rows("INSERT INTO images(wareid,filename) VALUES(0,'foreign.jpg')");
        WareDialog card(0, nullptr);
        WareGallery *gallery = galleryOf(card);
        gallery->add(sources({picture("a.png", Qt::red)}));
        QTRY_VERIFY(!gallery->isBusy());
        QCOMPARE(rows("SELECT wareid FROM images"), "0\n0");
        QCOMPARE(storedFiles(), 3);
        // Cancelled while more are on their way into the store.
        m_boxes->answer("Закрыть");
        connect(gallery, &WareGallery::counted, &card, &QDialog::reject, Qt::QueuedConnection);
        gallery->add(sources({picture("b.png", Qt::red), picture("c.png", Qt::red)}));
        QTRY_VERIFY(!card.isVisible());
        QTRY_VERIFY(!ImagesStore::instance().isBusy());
        QTRY_COMPARE(storedFiles(), 0);
        QCOMPARE(rows("SELECT filename FROM images"), "foreign.jpg");
    }

    void savedCard_waitsForItsPictures()
    {
        WareDialog card(0, nullptr);
        WareGallery *gallery = galleryOf(card);
        type(card, "nameLineEdit", "Чай");
        gallery->add(sources({picture("a.png", Qt::red), picture("b.png", Qt::blue)}));
        click(card, "okPushButton");
        QVERIFY(card.isVisible());
        QTRY_VERIFY(!card.isVisible());
        QCOMPARE(rows("SELECT wareid FROM images"), QString("%1\n%1").arg(card.id()));
        QCOMPARE(storedFiles(), 6);
    }

    void brokenStore_isToldOnceAndKeepsTheCard()
    {
        const QString root = m_home->path() + "/file";
        QVERIFY(QFile(root).open(QIODevice::WriteOnly));
        ImagesStore::instance().open({.path = root});
        WareDialog card(0, nullptr);
        WareGallery *gallery = galleryOf(card);
        type(card, "nameLineEdit", "Чай");
        m_boxes->answer("OK");
        gallery->add(sources({picture("a.png", Qt::red), picture("b.png", Qt::blue)}));
        click(card, "okPushButton");
        QTRY_VERIFY(!gallery->isBusy());
        QVERIFY(child<QLabel>(card, "imagesStatusLabel")
                    ->text()
                    .contains("Не добавлено изображений: 2"));
        QVERIFY(card.isVisible());
        QCOMPARE(child<QLineEdit>(card, "nameLineEdit")->text(), "Чай");
        QCOMPARE(rows("SELECT COUNT(*) FROM images"), "0");
    }

    void brokenDatabase_leavesNoFile()
    {
        WareDialog card(7, nullptr);
        WareGallery *gallery = galleryOf(card);
        breakStatements("INSERT INTO images");
        m_boxes->answer("OK");
        gallery->add(sources({picture("a.png", Qt::red), picture("b.png", Qt::blue)}));
        QTRY_VERIFY(!gallery->isBusy() && !ImagesStore::instance().isBusy());
        setStatementObserver({});
        QCOMPARE(storedFiles(), 0);
    }

    void brokenDatabase_leavesThePictureAsItWas()
    {
        WareDialog card(7, nullptr);
        WareGallery *gallery = galleryOf(card);
        gallery->add(sources({picture("a.png", Qt::red)}));
        QTRY_VERIFY(!gallery->isBusy());
        const QByteArray thumb = readFile(stored("thumbs", 0));
        DialogSteps steps;
        steps.whenOpen<ImageDialog>([&](ImageDialog &dialog) {
            QTRY_VERIFY(child<QWidget>(dialog, "controlsWidget")->isEnabled());
            child<NumberSpinBox>(dialog, "saturationSpinBox")->setValue(-100);
            breakStatements("UPDATE images");
            m_boxes->answer("OK");
            click(dialog, "okPushButton");
            QTRY_COMPARE(m_boxes->requests().size(), 1);
            setStatementObserver({});
            QVERIFY(readFile(stored("thumbs", 0)) != thumb);
            m_boxes->answer("Закрыть");
            dialog.reject();
            QTRY_VERIFY(!dialog.isVisible());
        });
        click(card, "imagesEditPushButton");
        QVERIFY(steps.allServed());
        QCOMPARE(readFile(stored("thumbs", 0)), thumb);
    }

    void editing_makesThePictureAnew()
    {
        WareDialog card(7, nullptr);
        WareGallery *gallery = galleryOf(card);
        gallery->add(sources({picture("a.png", Qt::red)}));
        QTRY_VERIFY(!gallery->isBusy());
        const QByteArray original = readFile(stored("originals", 0));
        DialogSteps steps;
        steps.whenOpen<ImageDialog>([this](ImageDialog &dialog) {
            type(dialog, "titleLineEdit", "  Спереди ");
            QTRY_VERIFY(child<QWidget>(dialog, "controlsWidget")->isEnabled());
            child<NumberSpinBox>(dialog, "saturationSpinBox")->setValue(-100);
            child<QCheckBox>(dialog, "frameCheckBox")->click();
            child<NumberSpinBox>(dialog, "rbotSpinBox")->setValue(200);
            child<NumberSpinBox>(dialog, "rtopSpinBox")->setValue(100);
            QTRY_COMPARE(centre(child<PixmapWidget>(dialog, "resultPixmapWidget")->pixmap()),
                         QColor(87, 87, 87).name());
            m_boxes->answer("OK");
            click(dialog, "okPushButton");
            QVERIFY(m_boxes->lastText().startsWith("Пожалуйста, введите"));
            child<NumberSpinBox>(dialog, "rbotSpinBox")->setValue(0);
            child<NumberSpinBox>(dialog, "rtopSpinBox")->setValue(255);
            rows("UPDATE images SET description='Сзади'");
            m_boxes->answer("Записать моё");
            click(dialog, "okPushButton");
            QVERIFY(m_boxes->requests().last().note.contains("«Сзади»"));
            QTRY_VERIFY(!dialog.isVisible());
        });
        click(card, "imagesEditPushButton");
        QVERIFY(steps.allServed());
        QCOMPARE(rows("SELECT description,centerx,centery,width,saturation,btop FROM images"),
                 "Спереди\t400\t300\t800\t-100\t255");
        QCOMPARE(readFile(stored("originals", 0)), original);
        QCOMPARE(QImage(stored("processed", 0)).size(), QSize(600, 400));
        auto *list = child<QListWidget>(card, "imagesListWidget");
        QTRY_COMPARE(centre(list->item(0)->icon()), QColor(87, 87, 87).name());

        steps.whenOpen<ImageDialog>([](ImageDialog &dialog) {
            QCOMPARE(child<NumberSpinBox>(dialog, "widthSpinBox")->text(), "800");
            click(dialog, "cancelPushButton"); // without a question
        });
        click(card, "imagesEditPushButton");

        // Another station does the same.
        QVERIFY(QFile::remove(stored("thumbs", 0)));
        QVERIFY(QFile::copy(picture("b.png", Qt::blue), stored("thumbs", 0)));
        rows("UPDATE images SET timestamp='2020-01-01 10:00:00'");
        gallery->refresh();
        QTRY_COMPARE(centre(list->item(0)->icon()), QColor(Qt::blue).name());
    }

    void search_showsThePictureWhereTheUserStays()
    {
        shop::addProduct({.id = 8, .name = "Ъ"});
        {
            WareDialog card(7, nullptr);
            WareGallery *gallery = galleryOf(card);
            gallery->add(sources({picture("a.png", Qt::red)}));
            QTRY_VERIFY(!gallery->isBusy());
        }
        int fetched = 0;
        const auto count = connect(&ImagesStore::instance(), &ImagesStore::getCompleted, this,
                                   [&fetched] { ++fetched; });
        ThumbnailCache::instance().forget("thumbs/" + name(0));
        WarehouseDialog dialog(nullptr);
        dialog.show();
        auto *table = child<QTableView>(dialog, "warehouseTableView");
        for (int i = 0; i < 20; ++i)
            table->setCurrentIndex(table->model()->index(i % 2, 2));
        const auto *picture = child<PixmapWidget>(dialog, "pixmapWidget");
        QTRY_COMPARE(picture->text(), "нет изображения");
        QCOMPARE(fetched, 0);
        table->setCurrentIndex(table->model()->index(0, 2));
        QTRY_COMPARE(centre(picture->pixmap()), QColor(Qt::red).name());
        table->setCurrentIndex(table->model()->index(1, 2));
        QVERIFY(picture->pixmap().isNull());
        disconnect(count);
    }

private:
    void prepare() override
    {
        openShop();
        shop::addProduct({.id = 7});
        ImagesStore::instance().open(ImagesStoreSettings::read());
    }

    static WareGallery *galleryOf(WareDialog &card)
    {
        card.show();
        child<QTabWidget>(card, "tabWidget")->setCurrentIndex(6);
        return card.findChild<WareGallery *>();
    }

    QString picture(const QString &name, Qt::GlobalColor colour) const
    {
        QImage image(800, 600, QImage::Format_RGB32);
        image.fill(colour);
        QString path = m_home->path() + '/' + name;
        image.save(path);
        return path;
    }

    static QList<ImageSource> sources(const QStringList &paths)
    {
        QList<ImageSource> list;
        for (const QString &path : paths)
            list += {.path = path, .name = path};
        return list;
    }

    QString name(int row) const
    {
        return rows("SELECT filename FROM images ORDER BY id").split('\n').value(row);
    }

    QString stored(const QString &folder, int row) const
    {
        return ImagesStore::instance().settings().localRoot() + '/' + folder + '/' + name(row);
    }

    static int storedFiles()
    {
        int files = 0;
        QDirIterator all(ImagesStore::instance().settings().localRoot(), QDir::Files,
                         QDirIterator::Subdirectories);
        for (; all.hasNext(); all.next())
            ++files;
        return files;
    }

    static QString centre(const QPixmap &pixmap)
    {
        const QImage image = pixmap.isNull() ? QImage(1, 1, QImage::Format_Mono) : pixmap.toImage();
        const QColor colour = image.pixelColor(image.rect().center());
        const auto even = [](int value) {
            return value > 250 ? 255 : value < 5 ? 0 : value;
        };
        return QColor(even(colour.red()), even(colour.green()), even(colour.blue())).name();
    }

    static QString centre(const QIcon &icon)
    {
        return centre(icon.pixmap(QSize(200, 100)));
    }
};

QTEST_MAIN(TestWareGallery)
#include "tst_waregallery.moc"
