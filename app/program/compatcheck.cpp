#include "app/program/compatcheck.h"

#include "app/configdir.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QMap>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QSslSocket>
#include <QSysInfo>
#include <QTextCodec>
#include <QVariant>

#include <algorithm>
#include <cstdio>

namespace {

const QString sqliteConnection = QStringLiteral("compat-sqlite");
const QString mysqlConnection = QStringLiteral("compat-mysql");

constexpr const char *hostVariable = "LAVKOR_COMPAT_MYSQL_HOST";
constexpr const char *portVariable = "LAVKOR_COMPAT_MYSQL_PORT";
constexpr const char *passwordVariable = "LAVKOR_COMPAT_MYSQL_PASSWORD";

bool runsSqliteTransaction(QSqlDatabase database)
{
    constexpr int probeValue = 42;
    if (!database.open() || !database.transaction())
        return false;
    QSqlQuery query(database);
    if (!query.exec(QStringLiteral("CREATE TABLE probe (value INTEGER)")) ||
        !query.exec(QStringLiteral("INSERT INTO probe VALUES (42)")) ||
        !query.exec(QStringLiteral("SELECT value FROM probe")) || !query.next())
        return false;
    const int value = query.value(0).toInt();
    query.finish(); // an open SELECT would hold up the commit
    return database.commit() && value == probeValue;
}

bool probeSqlite()
{
    QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), sqliteConnection)
        .setDatabaseName(QStringLiteral(":memory:"));
    const bool passed = runsSqliteTransaction(QSqlDatabase::database(sqliteConnection, false));
    QSqlDatabase::removeDatabase(sqliteConnection);
    return passed;
}

/// Whether amounts, weights and Cyrillic names come back from the server sign for sign.
bool keepsValues(QSqlDatabase database)
{
    const QString amount = QStringLiteral("12.34");
    const QString quantity = QStringLiteral("0.125");
    const QString name = QStringLiteral("Тестовый товар");
    database.setHostName(qEnvironmentVariable(hostVariable));
    database.setPort(qEnvironmentVariableIntValue(portVariable));
    database.setDatabaseName(QStringLiteral("lavkor_compat_test"));
    database.setUserName(QStringLiteral("lavkor_compat"));
    database.setPassword(qEnvironmentVariable(passwordVariable));
    // A script that deploys the program must not hang on a server that is gone.
    database.setConnectOptions(QStringLiteral(
        "MYSQL_OPT_CONNECT_TIMEOUT=10;MYSQL_OPT_READ_TIMEOUT=30;MYSQL_OPT_WRITE_TIMEOUT=30"));
    if (!database.open())
        return false;

    QSqlQuery query(database);
    if (!query.exec(QStringLiteral("CREATE TEMPORARY TABLE compat_probe (amount DECIMAL(12,2), "
                                   "quantity DECIMAL(12,3), name VARCHAR(100))")) ||
        !query.prepare(QStringLiteral("INSERT INTO compat_probe VALUES (:amount, :quantity, "
                                      ":name)")))
        return false;
    query.bindValue(QStringLiteral(":amount"), amount);
    query.bindValue(QStringLiteral(":quantity"), quantity);
    query.bindValue(QStringLiteral(":name"), name);
    if (!query.exec() ||
        !query.prepare(QStringLiteral("SELECT CAST(amount AS CHAR), CAST(quantity AS CHAR), name "
                                      "FROM compat_probe WHERE name=:name")))
        return false;
    query.bindValue(QStringLiteral(":name"), name);
    return query.exec() && query.next() && query.value(0).toString() == amount &&
           query.value(1).toString() == quantity && query.value(2).toString() == name;
}

struct MySqlProbe
{
    bool driver = false;
    bool queryTested = false;
    bool query = false;
};

MySqlProbe probeMySql()
{
    MySqlProbe probe;
    QSqlDatabase::addDatabase(QStringLiteral("QMYSQL"), mysqlConnection);
    probe.driver = QSqlDatabase::database(mysqlConnection, false).isValid();
    probe.queryTested = qEnvironmentVariableIsSet(hostVariable);
    probe.query = probe.queryTested && keepsValues(QSqlDatabase::database(mysqlConnection, false));
    QSqlDatabase::removeDatabase(mysqlConnection);
    return probe;
}

/// A device as the suite's programs describe it: keys with text values.
using HardwareRecord = QMap<QString, QString>;

/// Whose business a device is, in one word: fiscal registers ("fr") work with the card terminal of
/// a cash desk, which is the word "acquiring"; scales are the workstation's own.
QString hardwarePolicy(const HardwareRecord &record)
{
    const QString type = record.value(QStringLiteral("type"));
    return type == QLatin1String("fr") ? QStringLiteral("acquiring") : QStringLiteral("scales");
}

/// This program takes goods in and never opens a device of a cash desk, whether its record says
/// "off" or "on" or knows the way to it.
bool isHardwareDisabled(const HardwareRecord &record)
{
    return hardwarePolicy(record) == QLatin1String("acquiring");
}

HardwareRecord fiscalRegister(const QString &value)
{
    return {{QStringLiteral("type"), QStringLiteral("fr")}, {QStringLiteral("mode"), value}};
}

/// What a check could spoil for the user: the settings file, or that there is none.
struct Configuration
{
    bool hasDirectory = QFileInfo::exists(configDirPath());
    bool hasFile = QFileInfo::exists(settingsFilePath());
    QByteArray content = settingsBytes(); ///< never interpreted

    bool operator==(const Configuration &) const = default;

private:
    static QByteArray settingsBytes()
    {
        QFile file(settingsFilePath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
};

bool keepsWindows1251()
{
    const QString text = QStringLiteral("Лавкор");
    QTextCodec *codec = QTextCodec::codecForName("Windows-1251");
    return codec && codec->toUnicode(codec->fromUnicode(text)) == text;
}

} // namespace

bool wantsCompatCheck(int argc, const char *const *argv)
{
    return std::any_of(argv, argv + argc, [](const char *argument) {
        return qstrcmp(argument, "--compat-check") == 0;
    });
}

QJsonObject compatReport()
{
    const Configuration before;
    const bool sqlite = probeSqlite();
    const MySqlProbe mySql = probeMySql();
    const HardwareRecord record = fiscalRegister(QStringLiteral("1"));
    const bool hardwareDisabled =
        isHardwareDisabled(record) && isHardwareDisabled(fiscalRegister(QStringLiteral("2")));
    const bool windows1251 = keepsWindows1251();
    const bool tls = QSslSocket::supportsSsl();
    const bool preserved = Configuration() == before;

    const bool passed = sqlite && mySql.driver && (mySql.query || !mySql.queryTested) &&
                        hardwareDisabled && preserved && windows1251 && tls;
    return {{QStringLiteral("passed"), passed},
            {QStringLiteral("qt"), QString::fromLatin1(qVersion())},
            {QStringLiteral("architecture"), QSysInfo::buildCpuArchitecture()},
            {QStringLiteral("sqlite_transaction"), sqlite},
            {QStringLiteral("mysql_driver"), mySql.driver},
            {QStringLiteral("mysql_query_tested"), mySql.queryTested},
            {QStringLiteral("mysql_query"), mySql.query},
            {QStringLiteral("hardware_disabled"), hardwareDisabled},
            {QStringLiteral("hardware_policy"), hardwarePolicy(record)},
            {QStringLiteral("configuration_preserved"), preserved},
            {QStringLiteral("windows1251"), windows1251},
            {QStringLiteral("tls"), tls},
            {QStringLiteral("tls_backend"), QSslSocket::activeBackend()}};
}

int runCompatCheck()
{
    const QJsonObject report = compatReport();
    const QByteArray line = QJsonDocument(report).toJson(QJsonDocument::Compact) + '\n';
    // Who reads the line must not take a lost one for a success.
    const bool written =
        std::fwrite(line.constData(), 1, size_t(line.size()), stdout) == size_t(line.size()) &&
        std::fflush(stdout) == 0;
    return written && report.value(QStringLiteral("passed")).toBool() ? 0 : 1;
}
