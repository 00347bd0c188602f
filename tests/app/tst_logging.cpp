#include "app/configdir.h"
#include "app/logging.h"
#include "app/messages.h"

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

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be read");
}

} // namespace

class TestLogging : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void eventLog_isWrittenByteForByte();
    void unopenableLog_isPassedOver();
    void debugTrace_followsItsFlags_data();
    void debugTrace_followsItsFlags();
    void warning_isLoggedWithAndWithoutItsBox();
    void question_isAnsweredByEscape_whenNobodyCanSeeIt();

private:
    std::unique_ptr<QTemporaryDir> m_home;
    QString m_log;
    QString m_debugFile;
    QtMessageHandler m_formerHandler = nullptr;
};

void TestLogging::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    qputenv("HOME", m_home->path().toUtf8());
    m_log = configDirPath() + QStringLiteral("/Lavkor_log.txt");
    m_debugFile = configDirPath() + QStringLiteral("/debug.txt");
    channel.clear();
    m_formerHandler = qInstallMessageHandler(takeNote);
}

void TestLogging::cleanup()
{
    qInstallMessageHandler(m_formerHandler);
    setConsoleDebug(false);
    setFileDebug(false);
    setBoxHandler({});
}

void TestLogging::eventLog_isWrittenByteForByte()
{
    const QStringList texts{QStringLiteral("Приход №1: \"Чай\" 100 %1 <b>\\</b>"),
                            QStringLiteral("две\nстроки"), QString()};
    const QDateTime before = QDateTime::currentDateTime();
    for (const QString &text : texts)
        logMessage(text);

    // The stamp is the only part that is not known beforehand: 19 characters and a blank.
    const QByteArray log = readFile(m_log);
    QByteArray rest = log;
    for (const QString &text : texts) {
        const QString stamp = QString::fromLatin1(rest.left(19));
        static const QRegularExpression pattern(
            QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d$"));
        QVERIFY2(pattern.match(stamp).hasMatch(), qPrintable(stamp));
        const QDateTime time = QDateTime::fromString(stamp, QStringLiteral("yyyy-MM-dd hh:mm:ss"));
        QVERIFY(time >= before.addSecs(-1) && time <= QDateTime::currentDateTime());
        const QByteArray expected = stamp.toLatin1() + ' ' + text.toUtf8() + "\r\n";
        QCOMPARE(rest.left(expected.size()), expected);
        rest.remove(0, expected.size());
    }
    QCOMPARE(rest, QByteArray());
    QCOMPARE(channel.size(), 3);
    QVERIFY(log.startsWith(channel.first().toUtf8() + "\r\n"));
}

void TestLogging::unopenableLog_isPassedOver()
{
    qputenv("HOME", "/dev/null");
    logMessage(QStringLiteral("text"));
    QCOMPARE(channel.size(), 1);
    QVERIFY(channel.first().endsWith(QStringLiteral(" text")));
}

void TestLogging::debugTrace_followsItsFlags_data()
{
    QTest::addColumn<bool>("console");
    QTest::addColumn<bool>("file");
    QTest::newRow("off") << false << false;
    QTest::newRow("console") << true << false;
    QTest::newRow("file") << false << true;
    QTest::newRow("both") << true << true;
}

void TestLogging::debugTrace_followsItsFlags()
{
    QFETCH(bool, console);
    QFETCH(bool, file);
    setConsoleDebug(console);
    setFileDebug(file);
    debugLog(QStringLiteral("запрос %1"));

    static const QRegularExpression line(
        QStringLiteral("\\A\\d\\d:\\d\\d:\\d\\d\\.\\d{3} запрос %1\\z"));
    QCOMPARE(channel.size(), console ? 1 : 0);
    if (console)
        QVERIFY2(line.match(channel.first()).hasMatch(), qPrintable(channel.first()));
    QCOMPARE(QFile::exists(m_debugFile), file);
    if (file) {
        QString text = QString::fromUtf8(readFile(m_debugFile));
        QVERIFY(text.endsWith(QStringLiteral("\r\n")));
        text.chop(2);
        QVERIFY2(line.match(text).hasMatch(), qPrintable(text));
    }
    QVERIFY(!QFile::exists(m_log));
}

void TestLogging::warning_isLoggedWithAndWithoutItsBox()
{
    QList<BoxRequest> boxes;
    setBoxHandler([&boxes](QWidget *, const BoxRequest &request) {
        boxes += request;
        return 0;
    });
    showWarning(nullptr, QStringLiteral("тихо"), false);
    QVERIFY(boxes.isEmpty());
    QCOMPARE(readFile(m_log).count("\r\n"), 1);
    QVERIFY(readFile(m_log).endsWith(" тихо\r\n"));

    showWarning(nullptr, QStringLiteral("громко"));
    QCOMPARE(boxes.size(), 1);
    QCOMPARE(boxes.first().kind, BoxKind::Warning);
    QCOMPARE(boxes.first().text, QStringLiteral("громко"));
    QVERIFY(!boxes.first().html);
    QVERIFY(readFile(m_log).endsWith(" громко\r\n"));

    showInformation(nullptr, QStringLiteral("к сведению"));
    QCOMPARE(boxes.size(), 2);
    QCOMPARE(readFile(m_log).count("\r\n"), 2);
}

void TestLogging::question_isAnsweredByEscape_whenNobodyCanSeeIt()
{
    QCOMPARE(askQuestion(nullptr, QStringLiteral("?"),
                         {QStringLiteral("Да"), QStringLiteral("Нет")}, 0, 1),
             1);
}

QTEST_GUILESS_MAIN(TestLogging)
#include "tst_logging.moc"
