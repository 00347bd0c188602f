#include "administration/userdialog.h"
#include "administration/userstore.h"
#include "db/engine.h"
#include "db/passwords.h"
#include "db/session.h"
#include "db/sqltext.h"

#include "tests/support/databasetest.h"
#include "tests/support/files.h"

#include <QCheckBox>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

class TestUsers : public DatabaseTest
{
    Q_OBJECT

private slots:
    void userIsAdded_onceAndWithAHash()
    {
        UserSave save;
        const UserRecord user{.login = " О'Нил  \\ ", .name = "Имя\nвторой строкой", .rights = 2};
        QCOMPARE(save.save(nullptr, user, "тайна"), UserSaveState::Saved);
        const QString id = sql::id(save.id());
        QCOMPARE(rows("SELECT enabled, login, name, rights FROM users WHERE id=" + id),
                 "1\tО'Нил \\\tИмя второй строкой\t2");
        QVERIFY(verifyPassword("тайна", storedPassword(save.id())));
        QVERIFY(Session::instance().logIn(nullptr, "О'Нил \\", "тайна", mainConnection) ==
                LoginResult::Accepted);
        shop::logIn(m_anna);
        QCOMPARE(UserSave().save(nullptr, {.login = "о'нил \\"}), UserSaveState::LoginTaken);
        // Two of that name from former times: one of them can be disabled, but not come back.
        QVERIFY(
            QueryExec(nullptr, "UPDATE users SET login=" + sql::text("О'НИЛ \\") + " WHERE id=4"));
        QCOMPARE(save.load(nullptr, 4), LoadState::Loaded);
        UserRecord twin = save.seen();
        twin.enabled = false;
        QCOMPARE(save.save(nullptr, twin), UserSaveState::Saved);
        twin.enabled = true;
        QCOMPARE(save.save(nullptr, twin), UserSaveState::LoginTaken);
        const QString log = logText();
        QVERIFY(log.contains("anna (№ 3): добавлен пользователь № " + id));
        QVERIFY(log.contains("права: «» → «Приём товара», пароль: изменён"));
        QVERIFY(!log.contains("тайна") && !log.contains("pbkdf2"));
    }

    void unknownBits_stay()
    {
        rows("UPDATE users SET rights=4099 WHERE id=4");
        UserSave save;
        QCOMPARE(save.load(nullptr, 4), LoadState::Loaded);
        UserRecord user = save.seen();
        rows("UPDATE users SET rights=8195 WHERE id=4"); // nothing that is known here
        user.rights = 4;
        QCOMPARE(save.save(nullptr, user), UserSaveState::Changed);
        save.acknowledge();
        QCOMPARE(save.save(nullptr, user), UserSaveState::Saved);
        QCOMPARE(rows("SELECT rights FROM users WHERE id=4"), "8196");
        rows("DELETE FROM users WHERE id=4");
        QCOMPARE(save.save(nullptr, user), UserSaveState::Gone);
        QVERIFY(logText().contains("права: «Приём товара, Продажа, прочие (8192)» → «Карточки и "
                                   "справочники, прочие (8192)»"));
    }

    void lastAdministrator_stays_data()
    {
        addColumns<QString, bool>("other", "kept");
        addRow("nobody else", "rights=255", true);
        addRow("the other disabled", "enabled=0", true);
        addRow("without a password", "password=''", true);
        addRow("with a foreign one", "password='$1$x'", true);
        addRow("another one left", "enabled=1", false);
    }

    void lastAdministrator_stays()
    {
        const auto [other, kept] = rowValues<QString, bool>();
        rows("UPDATE users SET " + other + " WHERE id=1");
        QCOMPARE(disableSelf(), kept ? UserSaveState::LastAdministrator : UserSaveState::Saved);
        QCOMPARE(Session::instance().hasRight(Right::ManageUsers), kept);
    }

    void twoStations_doNotStripEachOther()
    {
        // The other one was quicker.
        bool once = true;
        setStatementObserver([&](const QString &sqlText, const QString &) {
            if (sqlText == "BEGIN" && std::exchange(once, false))
                rows("UPDATE users SET enabled=0 WHERE id=1");
        });
        QCOMPARE(disableSelf(), UserSaveState::LastAdministrator);
        // The other one comes between the look and the write: it has to wait.
        rows("UPDATE users SET enabled=1 WHERE id=1");
        QSqlQuery other = impatientStation();
        bool waited = false;
        setStatementObserver([&](const QString &sqlText, const QString &connectionName) {
            if (sqlText.startsWith("UPDATE users") && connectionName == mainConnection)
                waited = !other.exec("UPDATE users SET enabled=0 WHERE id=1");
        });
        QCOMPARE(disableSelf(), UserSaveState::Saved);
        QVERIFY(waited);
        setStatementObserver({});
        // Whoever has been stripped meanwhile writes nothing.
        m_boxes->answer("OK");
        UserSave save;
        QCOMPARE(save.save(nullptr, {.login = "x"}), UserSaveState::Failed);
        QVERIFY(m_boxes->lastText().contains("отключена администратором"));
    }

    void ownPassword_needsThePresentOne()
    {
        shop::logIn({.id = 4, .login = "vera", .name = "Вера"}); // needs no right
        setPassword(4);
        QCOMPARE(changeOwnPassword(nullptr, "wrong", "new"), OwnPasswordState::Wrong);
        bool once = true;
        setStatementObserver([&](const QString &sqlText, const QString &) {
            if (sqlText == "BEGIN" && std::exchange(once, false))
                rows("UPDATE users SET enabled=0 WHERE id=4");
        });
        QCOMPARE(changeOwnPassword(nullptr, "pw", "new"), OwnPasswordState::Wrong);
        rows("UPDATE users SET enabled=1 WHERE id=4");
        QCOMPARE(changeOwnPassword(nullptr, "pw", "new"), OwnPasswordState::Changed);
        QVERIFY(verifyPassword("new", storedPassword(4)));
        QVERIFY(logText().contains("vera (№ 4): собственный пароль: изменён"));
    }

    void dialog_tellsWhoShutsHimselfOut()
    {
        UserDialog dialog(3);
        dialog.show();
        const auto *tree = dialog.findChild<QTreeWidget *>("rightsTreeWidget");
        QTreeWidgetItem *users = tree->findItems("Пользователи", Qt::MatchExactly).value(0);
        users->setCheckState(0, Qt::Unchecked);
        m_boxes->answer("Отмена");
        accept(dialog);
        QVERIFY(m_boxes->lastText().contains("лишаете себя права «Пользователи»"));
        dialog.findChild<QCheckBox *>("enabledCheckBox")->setChecked(false);
        m_boxes->answer("Отмена");
        accept(dialog);
        QVERIFY(m_boxes->lastText().contains("отключаете собственную учётную запись"));
        m_boxes->answer("Закрыть");
        dialog.reject();
        QCOMPARE(rows("SELECT enabled, rights FROM users WHERE id=3"), "1\t895");
    }

private:
    void prepare() override
    {
        openShop();
        rows("DELETE FROM users WHERE id>1");
        rows("UPDATE users SET enabled=1, rights=895 WHERE id=1");
        shop::logIn(m_anna);
        rows("INSERT INTO users(id,enabled,login,name,rights) VALUES(4,1,'vera','Вера',NULL)");
        setPassword(1);
        setPassword(3);
        const QString sequence = Engine::of(mainConnection).sequenceMove("users");
        QVERIFY(sequence.isEmpty() || QueryExec(nullptr, sequence));
    }

    static void accept(const QDialog &dialog)
    {
        dialog.findChild<QPushButton *>("acceptPushButton")->click();
    }

    void setPassword(qulonglong id) const
    {
        rows("UPDATE users SET password='" + m_hash + "' WHERE id=" + sql::id(id));
    }

    QString storedPassword(qulonglong id) const
    {
        return rows("SELECT COALESCE(password,'') FROM users WHERE id=" + sql::id(id));
    }

    static UserSaveState disableSelf()
    {
        UserSave save;
        save.load(nullptr, 3);
        UserRecord user = save.seen();
        user.enabled = false;
        return save.save(nullptr, user);
    }

    const SessionUser m_anna{.id = 3, .login = "anna", .name = "Анна", .rights = 895};
    const QString m_hash = hashPassword("pw");
};

QTEST_MAIN(TestUsers)
#include "tst_users.moc"
