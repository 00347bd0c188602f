#include "db/schema.h"
#include "db/session.h"
#include "tests/support/databasetest.h"

#include <cmath>
#include <tuple>

/// Login, options and currencies of the session, on all three databases.
class TestSession : public DatabaseTest
{
    Q_OBJECT

private slots:
    void login()
    {
        // "чай", hashed with one round to keep the test quick.
        const QString stored =
            "'pbkdf2-sha256$1$c2FsdA==$KEZwaZvbESMh4awQhu9rPbse5ABZ5D9N9XU2fpv1oBw='";
        rows((m_dialect == Dialect::MySql ? "SET sql_mode='NO_BACKSLASH_ESCAPES'; " : "") +
             QString("INSERT INTO users(login,name,rights,enabled,password) VALUES"
                     "('Анна','Анна К.',5,1,") +
             stored + "),('Вера','',5,0," + stored + "),('Глеб','',5,0,''),('Глеб','',5,1," +
             stored + "),('O''Нил\\','',5,1," + stored + ");");

        const std::tuple<const char *, const char *, const char *, LoginResult> cases[] = {
            {"right", "Анна", "чай", LoginResult::Accepted},
            {"wrong password", "Анна", "кофе", LoginResult::Refused},
            {"no password", "Анна", "", LoginResult::Refused},
            {"other letter case", "анна", "чай", LoginResult::Refused},
            {"blank behind", "Анна ", "чай", LoginResult::Refused},
            {"pattern", "%", "чай", LoginResult::Refused},
            {"statement in the login", "' OR '1'='1", "чай", LoginResult::Refused},
            {"disabled", "Вера", "чай", LoginResult::Refused},
            {"disabled namesake first", "Глеб", "чай", LoginResult::Accepted},
            {"quote and backslash in the login", "O'Нил\\", "чай", LoginResult::Accepted},
            {"no password set, others have one", "admin", "", LoginResult::NoPassword},
            {"the same, one given", "admin", "чай", LoginResult::NoPassword}};
        for (const auto &[oddity, login, password, expected] : cases) {
            m_session.reset();
            QVERIFY2(m_session.logIn(nullptr, login, password, mainConnection) == expected, oddity);
            const bool in = expected == LoginResult::Accepted;
            QCOMPARE(m_session.user().login, in ? login : "");
            QCOMPARE(m_session.user().id != 0, in);
        }

        QList<SessionUser> users;
        QVERIFY(Session::usersWithoutPassword(nullptr, users, mainConnection));
        QCOMPARE(users.size(), 1);
        rows("UPDATE users SET password=NULL");
        QCOMPARE(m_session.logIn(nullptr, "Анна", "", mainConnection), LoginResult::NoPassword);
        QCOMPARE(m_session.logIn(nullptr, "admin", "", mainConnection),
                 LoginResult::PasswordNeeded);
        // Of two stations the first one wins.
        QCOMPARE(Session::setFirstPassword(nullptr, 1, "чай", mainConnection), FirstPassword::Set);
        QCOMPARE(Session::setFirstPassword(nullptr, 1, "кофе", mainConnection),
                 FirstPassword::AlreadySet);
        QCOMPARE(m_session.logIn(nullptr, "admin", "чай", mainConnection), LoginResult::Accepted);
    }

    void options_areReadByName()
    {
        rows("UPDATE options SET value='ООО «Ёж» 100% ''%1''' WHERE name='ORGNAME'; "
             "UPDATE options SET value=NULL WHERE name='INN';");
        QVERIFY(m_session.loadOptions(nullptr, mainConnection));
        QCOMPARE(m_session.option("ORGNAME"), "ООО «Ёж» 100% '%1'");
        QCOMPARE(m_session.option("TIMEZONE"), "+3");
        QCOMPARE(m_session.option("INN"), "");
        QCOMPARE(m_session.option("NO_SUCH_OPTION"), "");
        QCOMPARE(m_session.currencies().size(), 3); // they are read along
    }

    void currencies_convertByFirstOfTheirCode()
    {
        rows("UPDATE currencies SET value=92.5 WHERE id=3; "
             "INSERT INTO currencies(id,c_code,symbol,value) VALUES(20,'USD','$',7),"
             "(10,'KZT','₸',0),(11,'usd','$',3);");
        QVERIFY(m_session.loadCurrencies(mainConnection));

        QCOMPARE(m_session.currencies().size(), 6);
        QCOMPARE(m_session.convertCurrencyToMain(2, "USD"), 185.0);
        QCOMPARE(m_session.convertCurrencyFromMain(185, "USD"), 2.0);
        QCOMPARE(m_session.convertCurrencyToMain(2, "usd"), 6.0);
        QCOMPARE(m_session.convertCurrencyToMain(0.126, "RUB"), 0.126); // not rounded
        QVERIFY(std::isinf(m_session.convertCurrencyFromMain(1, "KZT")));

        // An unknown currency counts as the main one.
        QCOMPARE(m_session.convertCurrencyToMain(5.5, "Usd"), 5.5);
        QCOMPARE(m_session.convertCurrencyFromMain(5.5, ""), 5.5);

        // The main one is the first of value 1.
        for (const auto &[change, symbol] : {std::pair("value=1 WHERE id=1", "₽"),
                                             {"value=0.01 WHERE id=1", "€"},
                                             {"value=2", ""}}) {
            rows(QString("UPDATE currencies SET ") + change);
            QVERIFY(m_session.loadCurrencies(mainConnection));
            QCOMPARE(m_session.mainCurrencySymbol(), symbol);
        }
    }

    void reportId_followsTheLast()
    {
        QCOMPARE(m_session.nextReportId(nullptr, mainConnection), qulonglong(1));
        rows("INSERT INTO incomereports(id,total) VALUES(41,1),(7,1);");
        QCOMPARE(m_session.nextReportId(nullptr, mainConnection), qulonglong(42));
    }

    void lostTables_leaveNothingOfBefore()
    {
        rows("UPDATE currencies SET value=3 WHERE c_code='EUR'");
        QVERIFY(m_session.loadOptions(nullptr, mainConnection));
        rows("DROP TABLE users; DROP TABLE options; DROP TABLE currencies; "
             "DROP TABLE incomereports;");
        QCOMPARE(m_session.logIn(nullptr, "admin", "", mainConnection), LoginResult::Failed);
        QCOMPARE(Session::setFirstPassword(nullptr, 1, "x", mainConnection), FirstPassword::Failed);
        QVERIFY(!m_session.loadOptions(nullptr, mainConnection));
        QCOMPARE(m_session.option("TIMEZONE"), "");
        QVERIFY(!m_session.loadCurrencies(mainConnection));
        QCOMPARE(m_session.convertCurrencyToMain(2, "EUR"), 2.0);
        QCOMPARE(m_session.mainCurrencySymbol(), "");
        QVERIFY(!m_session.nextReportId(nullptr, mainConnection).has_value());
    }

private:
    void prepare() override
    {
        openEmpty();
        QVERIFY(createSchema(nullptr, mainConnection));
        m_session.reset();
    }

    Session m_session;
};

QTEST_GUILESS_MAIN(TestSession)
#include "tst_session.moc"
