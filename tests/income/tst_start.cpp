// The main window starts, or says why it cannot, when the configuration directory cannot be
// written.
#include "app/configdir.h"
#include "app/settings.h"
#include "db/query.h"
#include "db/session.h"
#include "income/incomeinvoicewindow.h"
#include "tests/support/dialogsteps.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/shop.h"
#include "tests/support/testhome.h"
#include "widgets/sound.h"

#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace {

bool run(const QStringList &command)
{
    return QProcess::execute(command.first(), command.mid(1)) == 0;
}

/// Makes a directory read-only, for root too, while it lives.
class ReadOnlyMount
{
public:
    explicit ReadOnlyMount(const QString &path)
        : m_path(path),
          m_mounted(run({"mount", "--bind", path, path})),
          m_readOnly(m_mounted && run({"mount", "-o", "remount,bind,ro", path}))
    {
    }

    ~ReadOnlyMount()
    {
        if (m_mounted)
            run({"umount", m_path});
    }

    ReadOnlyMount(const ReadOnlyMount &) = delete;
    ReadOnlyMount &operator=(const ReadOnlyMount &) = delete;

    bool isReadOnly() const
    {
        return m_readOnly;
    }

private:
    QString m_path;
    bool m_mounted;
    bool m_readOnly;
};

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

/// A shop with one product, where admin has the password "secret".
void makeShop(const ConnectionEntry &entry)
{
    QVERIFY(createConnection(nullptr, entry, "filling"));
    QVERIFY(shop::create("filling"));
    shop::addProduct({.id = 101, .stock = 5}, "filling");
    QVERIFY(Session::instance().logIn(nullptr, "admin", "", "filling") ==
            LoginResult::PasswordNeeded);
    QVERIFY(Session::instance().setPassword(nullptr, "secret", "filling"));
    removeConnection("filling");
}

void logIn(QDialog *dialog)
{
    auto *password = dialog->findChild<QLineEdit *>("passwordLineEdit");
    password->clear();
    QTest::keyClicks(password, "secret");
    QTest::keyClick(password, Qt::Key_Return);
}

} // namespace

class TestStart : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void noDirectory_isExplainedAndTheProgramEnds();
    void readOnlyDatabase_isExplained_data();
    void readOnlyDatabase_isExplained();
    void readOnlyDirectory_leavesTheWorkGoingOn();

private:
    void startInVain(const QString &explanation);

    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<QueuedBoxes> m_boxes;
    std::unique_ptr<DialogSteps> m_steps;
};

void TestStart::init()
{
    m_home = std::make_unique<TestHome>();
    m_boxes = std::make_unique<QueuedBoxes>();
    m_steps = std::make_unique<DialogSteps>();
    setSoundHandler([](Sound) {});
    QSettings().clear();
    QSettings().setValue("acceptedEula", true);
}

void TestStart::cleanup()
{
    QVERIFY(m_steps->allServed());
    QVERIFY(m_boxes->verify());
    setSoundHandler({});
    m_steps.reset();
    m_boxes.reset();
    Settings::instance().reset();
    m_home.reset();
}

/// Presses OK in vain, sees the explanation and gives up: the window closes by itself.
void TestStart::startInVain(const QString &explanation)
{
    Settings::instance().load(settingsFilePath());
    m_boxes->answer("OK");
    m_steps->add("SelectConnectionDialog", [](QDialog *dialog) {
        logIn(dialog);
        QVERIFY(dialog->isVisible());
        dialog->reject();
    });
    IncomeInvoiceWindow window;
    QVERIFY(!window.isReady());
    QVERIFY2(m_boxes->lastText().contains(explanation), qPrintable(m_boxes->texts().join('\n')));
    window.show();
    QTRY_VERIFY(!window.isVisible());
}

void TestStart::noDirectory_isExplainedAndTheProgramEnds()
{
    writeFile(configDirPath(), "not a directory");
    startInVain("В каталоге " + configDirPath() + " нельзя создать файл базы данных.");
    QCOMPARE(QFileInfo(configDirPath()).size(), 15);
}

void TestStart::readOnlyDatabase_isExplained_data()
{
    QTest::addColumn<bool>("exists");
    QTest::newRow("no database yet") << false;
    QTest::newRow("with its database") << true;
}

void TestStart::readOnlyDatabase_isExplained()
{
    QFETCH(bool, exists);
    QVERIFY(ensureConfigDir());
    if (exists)
        makeShop(Settings::localConnection());
    const ReadOnlyMount directory(configDirPath());
    QVERIFY2(directory.isReadOnly(), "a read-only mount needs root");
    startInVain(exists ? "Файл базы данных " + configDirPath() + "/lavkor.sqlite нельзя изменить."
                       : "В каталоге " + configDirPath() + " нельзя создать файл базы данных.");
}

void TestStart::readOnlyDirectory_leavesTheWorkGoingOn()
{
    const ScratchDatabase database(Dialect::Sqlite);
    makeShop(database.entry());
    ConnectionEntry entry = database.entry();
    entry.name = "Магазин";
    Settings::instance().load(settingsFilePath());
    Settings::instance().setConnections({entry});
    QVERIFY(Settings::instance().save());
    QFile::remove(configDirPath() + "/Lavkor_log.txt");
    const ReadOnlyMount directory(configDirPath());
    QVERIFY2(directory.isReadOnly(), "a read-only mount needs root");

    QCOMPARE(Settings::instance().load(settingsFilePath()), Settings::LoadResult::Loaded);
    m_boxes->answer("OK");
    m_steps->add("SelectConnectionDialog", logIn);
    IncomeInvoiceWindow window;
    QVERIFY(window.isReady());
    QVERIFY2(
        m_boxes->lastText().startsWith("Не удалось сохранить файл настроек " + settingsFilePath()),
        qPrintable(m_boxes->lastText()));
    window.show();
    m_steps->add("QuantityRestDialog",
                 [](QDialog *dialog) { QTest::keyClick(dialog, Qt::Key_Return); });
    auto *code = window.findChild<QLineEdit *>("codeLineEdit");
    QTest::keyClicks(code, "101");
    QTest::keyClick(code, Qt::Key_Return);
    m_boxes->answer("Провести (наличными)");
    QTest::mouseClick(window.findChild<QPushButton *>("applyIncomeInvoicePushButton"),
                      Qt::LeftButton);
    QCOMPARE(database.client("SELECT quantity FROM warehouse"), "6.0");
    window.close();
    QVERIFY(!QFile::exists(configDirPath() + "/Lavkor_log.txt"));
}

int main(int argc, char *argv[])
{
    QCoreApplication::setOrganizationName("LavkorTest");
    QCoreApplication::setApplicationName("Lavkor");
    QApplication application(argc, argv);
    TestStart test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_start.moc"
