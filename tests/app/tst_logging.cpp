#include "app/configdir.h"
#include "app/logging.h"
#include "app/messages.h"
#include "tests/support/files.h"
#include "tests/support/testhome.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QTest>

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
    void initTestCase()
    {
        qInstallMessageHandler(takeNote);
    }

    void eventLog_isWrittenByteForByte()
    {
        const TestHome home;
        QString expected = "^";
        for (const QString text : {"Приход №1: \"Чай\" 100 %1 <b>\\</b>", "две\nстроки", ""}) {
            logMessage(text);
            expected += QDate::currentDate().toString("yyyy-MM-dd") + " \\d\\d:\\d\\d:\\d\\d " +
                        QRegularExpression::escape(text) + "\r\n";
        }
        showInformation(nullptr, "к сведению"); // is not logged
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
            const TestHome home;
            const bool console = flags & 1;
            const bool file = flags & 2;
            channel.clear();
            setConsoleDebug(console);
            setFileDebug(file);
            debugLog("запрос %1");
            static const QRegularExpression line("\\A\\d\\d:\\d\\d:\\d\\d\\.\\d{3} запрос %1\\z");
            QCOMPARE(channel.size(), console ? 1 : 0);
            QCOMPARE(line.match(channel.value(0)).hasMatch(), console);
            QStringList written = QString(readFile(configDirPath() + "/debug.txt")).split("\r\n");
            QCOMPARE(written.size(), file ? 2 : 1);
            QCOMPARE(line.match(written.first()).hasMatch(), file);
            QCOMPARE(logText(), QString());
        }
        setConsoleDebug(false);
        setFileDebug(false);
    }

    void questionThatNobodyCanSee_isAnswered()
    {
        QCOMPARE(askQuestion(nullptr, "?", {"Да", "Нет"}, 0, 1), 1);
    }
};

QTEST_GUILESS_MAIN(TestLogging)
#include "tst_logging.moc"
