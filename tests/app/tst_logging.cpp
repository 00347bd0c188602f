#include "app/configdir.h"
#include "app/logging.h"
#include "app/messages.h"
#include "tests/support/files.h"

#include <QDateTime>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

QStringList channel; ///< what came out of Qt's debug channel

void takeNote(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtDebugMsg)
        channel += text;
}

} // namespace

class TestLogging : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_home = std::make_unique<QTemporaryDir>();
        qputenv("HOME", m_home->path().toUtf8());
        m_log = configDirPath() + "/Lavkor_log.txt";
        m_debugFile = configDirPath() + "/debug.txt";
        channel.clear();
        m_formerHandler = qInstallMessageHandler(takeNote);
    }

    void cleanup()
    {
        qInstallMessageHandler(m_formerHandler);
        setConsoleDebug(false);
        setFileDebug(false);
        setBoxHandler({});
    }

    void eventLog_isWrittenByteForByte()
    {
        QString expected = "^";
        for (const QString text : {"Приход №1: \"Чай\" 100 %1 <b>\\</b>", "две\nстроки", ""}) {
            logMessage(text);
            expected += QDate::currentDate().toString("yyyy-MM-dd") + " \\d\\d:\\d\\d:\\d\\d " +
                        QRegularExpression::escape(text) + "\r\n";
        }
        const QRegularExpression pattern(expected + "$");
        QVERIFY2(pattern.match(logText()).hasMatch(), qPrintable(logText()));
        QCOMPARE(channel.size(), 3);
        QVERIFY(logText().startsWith(channel.first() + "\r\n"));
        qputenv("HOME", "/dev/null"); // what cannot be opened is passed over
        logMessage("text");
        QVERIFY(channel.size() == 4 && channel.last().endsWith(" text"));
    }

    void debugTrace_followsItsFlags()
    {
        for (const int flags : {0, 1, 2, 3}) {
            const bool console = flags & 1;
            const bool file = flags & 2;
            channel.clear();
            QFile::remove(m_debugFile);
            setConsoleDebug(console);
            setFileDebug(file);
            debugLog("запрос %1");

            static const QRegularExpression line(
                "\\A\\d\\d:\\d\\d:\\d\\d\\.\\d{3} запрос %1(\r\n)?\\z");
            const QString written = QString::fromUtf8(readFile(m_debugFile));
            QCOMPARE(channel.size(), console ? 1 : 0);
            QCOMPARE(line.match(channel.value(0)).hasMatch(), console);
            QCOMPARE(line.match(written).hasMatch() && written.endsWith("\r\n"), file);
            QCOMPARE(QFile::exists(m_debugFile), file);
            QVERIFY(!QFile::exists(m_log));
        }
    }

    void warning_isLoggedWithAndWithoutItsBox()
    {
        QList<BoxRequest> boxes;
        setBoxHandler([&boxes](QWidget *, const BoxRequest &request) {
            boxes += request;
            return 0;
        });
        showWarning(nullptr, "тихо", false);
        QVERIFY(boxes.isEmpty());
        QCOMPARE(readFile(m_log).count("\r\n"), 1);
        QVERIFY(readFile(m_log).endsWith(" тихо\r\n"));

        showWarning(nullptr, "громко");
        QCOMPARE(boxes.size(), 1);
        QCOMPARE(boxes.first().kind, BoxKind::Warning);
        QCOMPARE(boxes.first().text, "громко");
        QVERIFY(!boxes.first().html);
        QVERIFY(readFile(m_log).endsWith(" громко\r\n"));

        showInformation(nullptr, "к сведению");
        QCOMPARE(boxes.size(), 2);
        QCOMPARE(readFile(m_log).count("\r\n"), 2);

        setBoxHandler({}); // nobody can see it
        QCOMPARE(askQuestion(nullptr, "?", {"Да", "Нет"}, 0, 1), 1);
    }

private:
    std::unique_ptr<QTemporaryDir> m_home;
    QString m_log;
    QString m_debugFile;
    QtMessageHandler m_formerHandler = nullptr;
};

QTEST_GUILESS_MAIN(TestLogging)
#include "tst_logging.moc"
