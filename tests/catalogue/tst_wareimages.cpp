// The rows of pictures: their order, their settings, what other stations do with them meanwhile.

#include "catalogue/wareimages.h"

#include "images/imagesstore.h"
#include "tests/support/databasetest.h"

#include <QFile>

class TestWareImages : public DatabaseTest
{
    Q_OBJECT

private slots:
    void order_hasNoGapsAndIsOfTheProduct()
    {
        const qulonglong a = add(7, "a.jpg");
        const qulonglong b = add(7, "b.jpg");
        const qulonglong c = add(7, "c.jpg");
        const qulonglong x = add(8, "x.jpg");
        add(8, "y.jpg");
        const qulonglong z = add(8, "z.jpg");
        add(8, "w.jpg");
        QVERIFY(moveWareImage(nullptr, c, true));
        QCOMPARE(order(7), "a1 c2 b3");
        QVERIFY(moveWareImage(nullptr, a, true) && moveWareImage(nullptr, a, false));
        QCOMPARE(order(7), "c1 a2 b3");
        QVERIFY(moveWareImage(nullptr, 4711, true));
        QVERIFY(removeWareImages(nullptr, {c, x, 4711, z}));
        QCOMPARE(order(7), "a1 b2");
        QCOMPARE(order(8), "y1 w2");
        // Rows of other programs may have no numbers, or twice the same.
        rows("UPDATE images SET ordernum=NULL");
        QVERIFY(moveWareImage(nullptr, b, true));
        QCOMPARE(order(7), "b1 a2");
    }

    void stations_loseNothing()
    {
        const qulonglong a = add(7, "a.jpg");
        const qulonglong b = add(7, "b.jpg");
        // The other one adds and moves just before this one's transaction.
        const auto meanwhile = [this](const QString &statement) {
            setStatementObserver(
                [this, statement, done = false](QString &sqlText, const QString &) mutable {
                    if (sqlText.startsWith("BEGIN") && !std::exchange(done, true))
                        rows(statement);
                });
        };
        meanwhile("INSERT INTO images(wareid,ordernum,filename) VALUES(7,3,'o.jpg')");
        const qulonglong c = add(7, "c.jpg");
        QCOMPARE(order(7), "a1 b2 o3 c4");
        meanwhile(
            QString("UPDATE images SET ordernum=3-ordernum WHERE id IN (%1,%2)").arg(a).arg(b));
        QVERIFY(moveWareImage(nullptr, c, true));
        QCOMPARE(order(7), "b1 a2 c3 o4");
        meanwhile(QString("DELETE FROM images WHERE id=%1").arg(a));
        QVERIFY(removeWareImages(nullptr, {a, b}));
        setStatementObserver({});
        QCOMPARE(order(7), "c2 o3");
    }

    void settings_areKeptWhole()
    {
        WareImage image{.wareid = 7, .fileName = "a.jpg", .title = shop::nastyName};
        const ImageEdit edit{.centerX = 1,
                             .centerY = 2,
                             .width = 3,
                             .angle = -12.5,
                             .red = {4, 200, 50},
                             .green = {5, 201, 51},
                             .blue = {6, 202, 52},
                             .saturation = -7};
        image.id = addWareImage(nullptr, image).value_or(0);
        WareImage wanted = image;
        wanted.edit = edit;
        WareImage now;
        QCOMPARE(writeWareImage(nullptr, image, wanted, now), WriteState::Written);
        QList<WareImage> read;
        QVERIFY(loadWareImages(nullptr, 7, read));
        QVERIFY(read.size() == 1 && read.first().edit == edit);
        QCOMPARE(read.first().title, image.title);
        QCOMPARE(rows("SELECT centerx,centery,width,rbot,gbot,bbot,rtop,gtop,btop,rgamma,ggamma,"
                      "bgamma,saturation FROM images"),
                 "1\t2\t3\t4\t5\t6\t200\t201\t202\t50\t51\t52\t-7");

        rows("UPDATE images SET description='Чай'");
        wanted.title = "Кофе";
        QCOMPARE(writeWareImage(nullptr, image, wanted, now), WriteState::NotFound);
        QCOMPARE(now.title, "Чай");
        rows("DELETE FROM images");
        QCOMPARE(writeWareImage(nullptr, now, wanted, now), WriteState::NotFound);
        QCOMPARE(now.id, 0U);
    }

    void files_goWithTheLastRow()
    {
        const qulonglong a = add(7, "a.jpg");
        const qulonglong copy = add(8, "a.jpg");
        const QString root = ImagesStore::instance().settings().localRoot();
        for (const QString &file : storedFilesOf("a.jpg"))
            ImagesStore::instance().put(file, "x");
        QTRY_VERIFY(!ImagesStore::instance().isBusy());
        QVERIFY(removeWareImages(nullptr, {copy}, 7)); // is of another product
        QVERIFY(removeWareImages(nullptr, {copy}));
        QTRY_VERIFY(!ImagesStore::instance().isBusy());
        QVERIFY(QFile::exists(root + "/thumbs/a.jpg"));
        breakStatements("DELETE FROM images", 9);
        m_boxes->answer("OK");
        QVERIFY(!removeWareImages(nullptr, {a}));
        setStatementObserver({});
        QCOMPARE(order(7), "a1");
        QVERIFY(removeWareImages(nullptr, {a}));
        QTRY_VERIFY(!QFile::exists(root + "/thumbs/a.jpg") &&
                    !QFile::exists(root + "/originals/a.jpg"));
    }

    void leftRows_goAfterADay()
    {
        add(0, "new.jpg");
        add(0, "old.jpg");
        add(7, "stays.jpg");
        rows("UPDATE images SET timestamp='2020-01-01 00:00:00' WHERE filename!='new.jpg'");
        QVERIFY(removeLeftImages(nullptr));
        QCOMPARE(rows("SELECT filename FROM images ORDER BY id"), "new.jpg\nstays.jpg");
    }

private:
    void prepare() override
    {
        openShop();
        ImagesStore::instance().open(ImagesStoreSettings::read());
    }

    static qulonglong add(qulonglong wareid, const QString &fileName)
    {
        return addWareImage(nullptr, {.wareid = wareid, .fileName = fileName}).value_or(0);
    }

    /// Names without their endings, with the numbers.
    QString order(int wareid) const
    {
        return rows(QString("SELECT filename,ordernum FROM images WHERE wareid=%1 ORDER BY "
                            "ordernum,id")
                        .arg(wareid))
            .remove(".jpg\t")
            .replace('\n', ' ');
    }
};

QTEST_MAIN(TestWareImages)
#include "tst_wareimages.moc"
