#include "catalogue/imagesync.h"

#include "app/settings.h"
#include "db/sqltext.h"
#include "images/imagesstore.h"
#include "tests/support/databasetest.h"
#include "tests/support/files.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>

class TestImageSync : public DatabaseTest
{
    Q_OBJECT

private slots:
    void whatOursLacksIsCopied()
    {
        addPicture(11, 2, "b.jpg", "Вид сбоку", Qt::blue);
        addPicture(11, 1, "a.jpg", shop::nastyName, Qt::red);
        addPicture(12, 1, "c.jpg", "Без идентификатора", Qt::green);
        QCOMPARE(synchronise(), "Скопировано изображений: 2, уже были: 0.");
        QCOMPARE(rows("SELECT wareid,ordernum,filename,description,saturation FROM images "
                      "ORDER BY ordernum"),
                 "1\t1\ta.jpg\t" + shop::nastyName + "\t-100\n1\t2\tb.jpg\tВид сбоку\t-100");
        QCOMPARE(readFile(ours("originals/a.jpg")), readFile(theirs("originals/a.jpg")));
        const QImage processed(ours("processed/a.jpg"));
        QCOMPARE(processed.pixelColor(5, 5).red(), processed.pixelColor(5, 5).blue()); // grey
        QVERIFY(!QImage(ours("thumbs/b.jpg")).isNull());

        // Again nothing is done, but for files that were lost.
        QVERIFY(QFile::remove(ours("thumbs/a.jpg")) && QFile::remove(ours("originals/b.jpg")));
        QCOMPARE(synchronise(),
                 "Скопировано изображений: 0, уже были: 2, восстановлено файлов: 2.");
        QVERIFY(QFile::exists(ours("thumbs/a.jpg")) && QFile::exists(ours("originals/b.jpg")));
        QCOMPARE(synchronise(), "Скопировано изображений: 0, уже были: 2.");
        QCOMPARE(rows("SELECT COUNT(*) FROM images"), "2");
    }

    void aNameOfOursKeepsItsFile()
    {
        addPicture(11, 1, "a.jpg", "", Qt::red);
        writeFile(ours("originals/a.jpg"), "another picture");
        for (const QString copied : {"1", "0"})
            QCOMPARE(synchronise(), QString("Скопировано изображений: %1, уже были: %2.")
                                        .arg(copied, copied == "1" ? "0" : "1"));
        QCOMPARE(readFile(ours("originals/a.jpg")), "another picture");
        const QString name = rows("SELECT filename FROM images");
        QVERIFY2(name != "a.jpg" && name.endsWith("-a.jpg"), qPrintable(name));
        QCOMPARE(readFile(ours("originals/" + name)), readFile(theirs("originals/a.jpg")));
    }

    void oneStoreNeedsRowsOnly()
    {
        for (const SettingsKey key :
             {SettingsKey::FriendImagesStoreType, SettingsKey::FriendImagesStorePath})
            Settings::instance().setValue(key, {});
        addPicture(11, 1, "a.jpg", "", Qt::red);
        QDir().rename(theirs("originals"), m_home->path() + "/moved");
        for (const char *folder : {"originals", "processed", "thumbs"})
            QFile::copy(m_home->path() + "/moved/a.jpg", ours(QString(folder) + "/a.jpg"));
        QCOMPARE(synchronise(), "Скопировано изображений: 1, уже были: 0.");
    }

    void faultsLeaveNothingHalfDone()
    {
        for (const QString gone : {"1.jpg", "2.jpg", "3.jpg", "4.jpg", "5.jpg"}) {
            addPicture(11, 0, gone, "", Qt::red);
            QVERIFY(QFile::remove(theirs("originals/" + gone)));
        }
        addPicture(11, 1, "a.jpg", "", Qt::red);
        addPicture(11, 3, "../x.jpg", "", Qt::red);
        addPicture(11, 4, "no.jpg", "", Qt::red);
        writeFile(theirs("originals/no.jpg"), "no picture");
        breakStatements("INSERT INTO images");
        m_boxes->answer("OK");
        const QString broken = synchronise();
        QVERIFY2(broken.startsWith("Скопировано изображений: 0") && broken.contains("прервано"),
                 qPrintable(broken));
        setStatementObserver({});
        const QString result = synchronise();
        QVERIFY2(result.startsWith("Скопировано изображений: 1, уже были: 0, с ошибками: 7"),
                 qPrintable(result));
        QCOMPARE(rows("SELECT filename FROM images"), "a.jpg");
        QVERIFY(!QFile::exists(ours("originals/no.jpg")));

        addPicture(11, 5, "e.jpg", "", Qt::red);
        ImageSync stopped(nullptr);
        stopped.start();
        stopped.cancel();
        QVERIFY(stopped.result().contains("остановлено"));
    }

private:
    void prepare() override
    {
        openShop();
        openReference();
        shop::addProduct({.id = 1, .name = "Чай"});
        shop::addProduct({.id = 2, .name = "Без"});
        shop::addProduct({.id = 11, .name = "Чай там"}, friendConnection);
        shop::addProduct({.id = 12, .name = "Без там"}, friendConnection);
        rows("UPDATE warehouse SET wuid='w''1' WHERE id=1");
        for (const QString &connection : {mainConnection, friendConnection})
            QVERIFY(QueryExec(nullptr, "DELETE FROM images;", connection));
        QVERIFY(
            QueryExec(nullptr, "UPDATE warehouse SET wuid='w''1' WHERE id=11;", friendConnection));
        Settings &settings = Settings::instance();
        settings.reset();
        settings.setValue(SettingsKey::FriendImagesStoreType, "local");
        settings.setValue(SettingsKey::FriendImagesStorePath, m_home->path() + "/theirs");
        ImagesStore::instance().open(ImagesStoreSettings::read());
        for (const char *folder : {"originals", "processed", "thumbs"})
            QDir().mkpath(ours(folder));
    }

    /// A picture of the reference database.
    void addPicture(qulonglong wareid, int ordernum, const QString &name, const QString &title,
                    Qt::GlobalColor color) const
    {
        QImage image(40, 30, QImage::Format_RGB32);
        image.fill(color);
        QDir().mkpath(theirs("originals"));
        QVERIFY(image.save(theirs("originals/" + name), "JPG"));
        QVERIFY(QueryExec(nullptr,
                          "INSERT INTO images(wareid,ordernum,filename,description,saturation) "
                          "VALUES(" +
                              sql::quotedId(wareid) + u',' + sql::integer(ordernum) + u',' +
                              sql::text(name) + u',' + sql::text(title) + ",-100);",
                          friendConnection));
    }

    QString ours(const QString &name) const
    {
        return m_home->path() + "/.lavkor/images/" + name;
    }

    QString theirs(const QString &name) const
    {
        return m_home->path() + "/theirs/" + name;
    }

    static QString synchronise()
    {
        ImageSync sync(nullptr);
        sync.start();
        [&] {
            QTRY_VERIFY_WITH_TIMEOUT(sync.isOver(), 60'000);
        }();
        return sync.result();
    }
};

QTEST_MAIN(TestImageSync)
#include "tst_imagesync.moc"
