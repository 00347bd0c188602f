// The main window starts, or says why it cannot, when the configuration directory cannot be
// written.
#include "app/configdir.h"
#include "tests/support/files.h"
#include "windowhands.h"

#include <QFileInfo>
#include <QProcess>

namespace {

bool run(const QStringList &command)
{
    return QProcess::execute(command.first(), command.mid(1)) == 0;
}

/// A shop with one product, where admin has his password.
void makeShop(const ConnectionEntry &entry)
{
    QVERIFY(createConnection(nullptr, entry, mainConnection));
    QVERIFY(shop::create());
    shop::addProduct({.id = 101, .stock = 5});
    WindowHands::givePassword();
    removeConnection(mainConnection);
}

} // namespace

class TestStart : public WindowTest
{
    Q_OBJECT

private slots:
    void noDirectory_isExplainedAndTheProgramEnds()
    {
        writeFile(configDirPath(), "not a directory");
        startInVain("В каталоге " + configDirPath() + " нельзя создать файл базы данных.");
        QCOMPARE(QFileInfo(configDirPath()).size(), 15);
    }

    void readOnlyDatabase_isExplained_data()
    {
        addColumns<bool, bool>("exists", "opens");
        addRow("no database yet", false, false);
        addRow("with its database", true, false);
        addRow("one that can be read all the same", true, true);
    }

    void readOnlyDatabase_isExplained()
    {
        const auto [exists, opens] = rowValues<bool, bool>();
        QVERIFY(ensureConfigDir());
        if (exists)
            makeShop(Settings::localConnection());
        if (opens) { // it has no write-ahead log
            QVERIFY(createConnection(nullptr, Settings::localConnection(), mainConnection));
            QVERIFY(QueryExec(nullptr, "PRAGMA journal_mode=DELETE"));
            removeConnection(mainConnection);
        }
        mountReadOnly();
        startInVain(exists
                        ? "Файл базы данных " + configDirPath() + "/lavkor.sqlite нельзя изменить."
                        : "В каталоге " + configDirPath() + " нельзя создать файл базы данных.");
    }

    void readOnlyDirectory_leavesTheWorkGoingOn()
    {
        const ScratchDatabase database(Dialect::Sqlite);
        makeShop(database.entry());
        ConnectionEntry entry = database.entry();
        entry.name = "Магазин";
        Settings::instance().load(settingsFilePath());
        Settings::instance().setConnections({entry});
        QVERIFY(Settings::instance().save());
        QFile::remove(configDirPath() + "/Lavkor_log.txt");
        mountReadOnly();

        QCOMPARE(Settings::instance().load(settingsFilePath()), Settings::LoadResult::Loaded);
        m_boxes->answer("OK");
        m_hands->logIn();
        IncomeInvoiceWindow window;
        QVERIFY(window.isReady());
        QVERIFY2(m_boxes->lastText().startsWith("Не удалось сохранить файл настроек " +
                                                settingsFilePath()),
                 qPrintable(m_boxes->lastText()));
        window.show();
        m_hands->accept();
        m_hands->scan(window, "101");
        m_boxes->answer("Провести (наличными)");
        click(window, "applyIncomeInvoicePushButton");
        QCOMPARE(database.client("SELECT quantity FROM warehouse"), "6.0");
        window.close();
        QVERIFY(!QFile::exists(configDirPath() + "/Lavkor_log.txt"));
    }

private:
    void prepare() override
    {
        m_hands = std::make_unique<WindowHands>();
    }

    void tidy() override
    {
        QVERIFY(m_hands->steps.allServed());
        m_hands.reset();
        if (m_mounted)
            run({"umount", configDirPath()});
        m_mounted = false;
    }

    /// Makes the configuration directory read-only, for root too, until the case ends.
    void mountReadOnly()
    {
        const QString path = configDirPath();
        m_mounted = run({"mount", "--bind", path, path});
        QVERIFY2(m_mounted && run({"mount", "-o", "remount,bind,ro", path}),
                 "a read-only mount needs root");
    }

    /// Presses OK in vain, sees the explanation and gives up: the window closes by itself.
    void startInVain(const QString &explanation)
    {
        Settings::instance().load(settingsFilePath());
        m_boxes->answer("OK");
        m_hands->steps.add("SelectConnectionDialog", [](QDialog *dialog) {
            enterPassword(dialog);
            QVERIFY(dialog->isVisible());
            dialog->reject();
        });
        IncomeInvoiceWindow window;
        QVERIFY(!window.isReady());
        QVERIFY2(m_boxes->lastText().contains(explanation),
                 qPrintable(m_boxes->texts().join('\n')));
        window.show();
        QTRY_VERIFY(!window.isVisible());
    }

    std::unique_ptr<WindowHands> m_hands;
    bool m_mounted = false;
};

int main(int argc, char *argv[])
{
    return runWindowTest<TestStart>(argc, argv);
}

#include "tst_start.moc"
