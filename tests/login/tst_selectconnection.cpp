#include "app/configdir.h"
#include "app/settings.h"
#include "db/query.h"
#include "db/schema.h"
#include "db/session.h"
#include "login/connectiondialog.h"
#include "login/connectionrules.h"
#include "login/loginsequence.h"
#include "login/passworddialog.h"
#include "login/selectconnectiondialog.h"
#include "login/userpasswordsdialog.h"
#include "tests/support/datatable.h"
#include "tests/support/dialogsteps.h"
#include "tests/support/files.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/servers.h"
#include "tests/support/testhome.h"
#include "tests/support/widgets.h"

namespace {

const QString strangeName = "Склад <b>%1</b> & 'Юг' \"2\" %2 \\";

using Member = QString ConnectionEntry::*;

QStringList texts(const QListWidget *list)
{
    QStringList all;
    for (int row = 0; row < list->count(); ++row)
        all += list->item(row)->text();
    return all;
}

ConnectionEntry sqliteEntry(const QString &name, const QString &file)
{
    return {.name = name, .dbtype = "sqlite", .databasename = file};
}

ConnectionEntry serverEntry(const QString &dbtype)
{
    return {.name = "A",
            .dbtype = dbtype,
            .dbhostname = "db",
            .dbusername = "shop",
            .dbpassword = "secret",
            .databasename = "lavkor"};
}

/// Runs statements on an SQLite file with its own client.
QString client(const ConnectionEntry &entry, const QString &statements)
{
    return TestServers::instance().client(Dialect::Sqlite, databaseFilePath(entry), statements);
}

/// Logs in; who has no password yet gets this one.
LoginStep logIn(const ConnectionEntry &entry, const QString &login, const QString &password,
                const std::optional<QString> &newPassword = {})
{
    QWidget window;
    return runLogin(&window, {entry, login, password},
                    [&newPassword](const QString &) { return newPassword; });
}

/// Copies a database that is made once, with the password "secret" for its administrator, and runs
/// statements there.
bool copyDatabase(const ConnectionEntry &entry, const QString &statements = {})
{
    static const QTemporaryDir directory;
    static const ConnectionEntry original =
        sqliteEntry("original", directory.filePath("original.sqlite"));
    static const bool made = logIn(original, "admin", {}, "secret") == LoginStep::Done;
    removeConnection(mainConnection);
    Session::instance().reset();
    return made && ensureConfigDir() &&
           QFile::copy(original.databasename, databaseFilePath(entry)) &&
           !client(entry, statements).isNull();
}

} // namespace

class TestSelectConnection : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QTest::failOnWarning(QRegularExpression("connectSlotsByName"));
        m_home = std::make_unique<TestHome>();
        m_boxes = std::make_unique<QueuedBoxes>();
        m_steps = std::make_unique<DialogSteps>();
        Session::instance().reset();
        QCOMPARE(Settings::instance().load(settingsFilePath()), Settings::LoadResult::Missing);
    }

    void cleanup()
    {
        QVERIFY(m_boxes->verify());
        QVERIFY(m_steps->allServed());
        m_steps.reset();
        removeConnection(mainConnection);
        m_boxes.reset();
        m_home.reset();
    }

    void cleanupTestCase()
    {
        Settings::instance().reset();
    }

    void firstStart_needsOnlyOkAndANewPassword()
    {
        SelectConnectionDialog dialog;
        dialog.show();
        const auto *list = child<QListWidget>(dialog, "connectionListWidget");
        const auto *friendList = child<QListWidget>(dialog, "friendConnectionListWidget");
        QCOMPARE(texts(list), QStringList{"Локальная база"});
        QCOMPARE(texts(friendList), (QStringList{"нет", "Локальная база"}));
        QCOMPARE(dialog.connectionName(), "Локальная база");
        QCOMPARE(dialog.friendConnectionName(), QString());
        QCOMPARE(child<QLineEdit>(dialog, "loginLineEdit")->text(), "admin");
        auto *password = child<QLineEdit>(dialog, "passwordLineEdit");
        QCOMPARE(dialog.focusWidget(), password);
        QCOMPARE(password->echoMode(), QLineEdit::Password);

        // The password may be put off.
        m_steps->whenOpen<PasswordDialog>([](PasswordDialog &) {});
        click(dialog, "okPushButton");
        QVERIFY(dialog.isVisible() && !isConnectionRegistered(mainConnection));
        QCOMPARE(Session::instance().user().id, 0);

        m_boxes->answer("OK");
        m_boxes->answer("OK");
        m_steps->whenOpen<PasswordDialog>([this](PasswordDialog &question) {
            click(question, "okPushButton");
            QVERIFY(m_boxes->lastText().contains("не может быть пустым"));
            type(question, "newPasswordLineEdit", "ёж 'secret'");
            type(question, "repeatPasswordLineEdit", "ёж");
            click(question, "okPushButton");
            QVERIFY(m_boxes->lastText().contains("не совпадают"));
            QVERIFY(question.isVisible());
            QCOMPARE(question.focusWidget(), child<QLineEdit>(question, "newPasswordLineEdit"));
            type(question, "newPasswordLineEdit", "ёж 'secret'");
            type(question, "repeatPasswordLineEdit", "ёж 'secret'");
            QTest::keyClick(question.focusWidget(), Qt::Key_Return);
        });
        QTest::keyClick(password, Qt::Key_Return);

        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QCOMPARE(Session::instance().user().login, "admin");
        QVERIFY(Session::instance().hasRight(Right::ReceiveGoods));
        QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Current);
        QVERIFY(QFile::exists(configDirPath() + "/lavkor.sqlite"));
        QCOMPARE(Settings::instance().load(settingsFilePath()), Settings::LoadResult::Loaded);
        QVERIFY(!readFile(settingsFilePath()).contains("secret"));
        QCOMPARE(Session::instance().logIn(nullptr, "admin", "ёж 'secret'", mainConnection),
                 LoginResult::Accepted);
    }

    void wrongPassword_leavesTheDialogOpen()
    {
        QVERIFY(copyDatabase(Settings::localConnection()));
        SelectConnectionDialog dialog;
        dialog.show();
        auto *password = child<QLineEdit>(dialog, "passwordLineEdit");
        QTest::keyClicks(password, "wrong");
        m_boxes->answer("OK");
        QTest::keyClick(password, Qt::Key_Return);
        QVERIFY(m_boxes->lastText().startsWith("Неверное имя пользователя или пароль"));
        QVERIFY(dialog.isVisible());
        QCOMPARE(dialog.focusWidget(), password);
        QCOMPARE(password->selectedText().size(), 5);
        QVERIFY(!isConnectionRegistered(mainConnection) && Session::instance().user().id == 0);

        QTest::keyClicks(password, "secret"); // replaces the selected text
        QTest::keyClick(password, Qt::Key_Return);
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QCOMPARE(Session::instance().user().login, "admin");
    }

    void databaseVersions_areCompared_data()
    {
        addColumns<QString, QString, QString, bool>("statement", "text", "answer", "accepted");
        const QString newer = "База данных имеет более новую версию, чем программа. "
                              "Пожалуйста, обновите Лавкор.";
        const QString older =
            "База данных имеет более старую версию, чем программа. При обновлении базы данных "
            "необходимо обновить Лавкор на всех компьютерах, работающих с ней.";
        const QString step = "UPDATE dbversion SET version=version";
        addRow("newer", step + "+1", newer, "OK", false);
        addRow("older, left alone", step + "-1", older, "Отмена", false);
        addRow("older, upgraded", step + "-1", older, "Обновить", true);
        addRow("not recorded", "DELETE FROM dbversion", older, "Обновить", true);
        addRow("not recorded, left alone", "DROP TABLE dbversion", older, "Отмена", false);
        addRow("current", "DELETE FROM units", QString(), QString(), true);
    }

    void databaseVersions_areCompared()
    {
        const auto [statement, text, answer, accepted] =
            rowValues<QString, QString, QString, bool>();
        const ConnectionEntry entry = Settings::localConnection();
        QVERIFY(copyDatabase(entry, statement));
        if (!answer.isEmpty())
            m_boxes->answer(answer);
        const LoginStep result = logIn(entry, "admin", "secret");
        QCOMPARE(m_boxes->lastText(), text);
        QCOMPARE(result, accepted ? LoginStep::Done : LoginStep::PrepareDatabase);
        QCOMPARE(isConnectionRegistered(mainConnection), accepted);
        QVERIFY(createConnection(nullptr, entry, mainConnection));
        QCOMPARE(schemaState(nullptr, mainConnection) == SchemaState::Current, accepted);
    }

    void strangeDatabases_areNotTouchedUnasked()
    {
        ConnectionEntry entry = sqliteEntry("A", "foreign.sqlite");
        QVERIFY(ensureConfigDir());
        client(entry, "CREATE TABLE users(id INTEGER, login TEXT)");
        m_boxes->answer("Отмена");
        QCOMPARE(logIn(entry, "admin", {}), LoginStep::PrepareDatabase);
        QVERIFY(m_boxes->lastText().contains("«foreign.sqlite»"));
        QCOMPARE(client(entry, "SELECT COUNT(*) FROM sqlite_master"), "1");

        entry.dbtype = "QSQLITE";
        m_boxes->answer("OK");
        QCOMPARE(logIn(entry, "admin", {}), LoginStep::Connect);
        QVERIFY(m_boxes->lastText().contains("«QSQLITE»"));

        // What cannot be made is told in one box; and a login ends where the rates cannot be read.
        entry = sqliteEntry("B", "view.sqlite");
        QVERIFY(copyDatabase(entry, "ALTER TABLE currencies RENAME TO old; "
                                    "CREATE VIEW currencies AS SELECT 1 AS id"));
        m_boxes->answer("OK");
        m_boxes->answer("OK");
        QCOMPARE(logIn(entry, "admin", "secret"), LoginStep::LoadOptions);
        QVERIFY(m_boxes->texts().at(2).contains("Не выполнено операций: 3"));
        QVERIFY(m_boxes->requests().at(2).details.contains("currencies"));
        QVERIFY(m_boxes->lastText().startsWith("Ошибка SQL:"));
    }

    void firstPasswords_areGivenByWhoManagesUsers()
    {
        const ConnectionEntry entry = Settings::localConnection();
        QVERIFY(copyDatabase(entry, "INSERT INTO users(login,name,rights) VALUES('anna','Анна',5),"
                                    "('boris','',5)"));
        SelectConnectionDialog dialog;
        dialog.show();
        type(dialog, "loginLineEdit", "anna");
        m_boxes->answer("OK");
        click(dialog, "okPushButton");
        QVERIFY(m_boxes->lastText().contains("Первый пароль даёт администратор"));

        type(dialog, "loginLineEdit", "admin");
        type(dialog, "passwordLineEdit", "secret");
        m_boxes->answer("OK");
        m_steps->whenOpen<UserPasswordsDialog>([this](UserPasswordsDialog &users) {
            const auto *list = child<QListWidget>(users, "usersListWidget");
            QCOMPARE(texts(list), (QStringList{"anna — Анна", "boris"}));
            for (const char *password : {"чай", "кофе"}) {
                DialogSteps inner;
                inner.whenOpen<PasswordDialog>([&](PasswordDialog &question) {
                    type(question, "newPasswordLineEdit", password);
                    type(question, "repeatPasswordLineEdit", password);
                    if (list->count() == 1) // another administrator is quicker
                        QVERIFY(QueryExec(nullptr,
                                          "UPDATE users SET password='x' WHERE login='boris'"));
                    click(question, "okPushButton");
                });
                click(users, "setPushButton");
            }
            QCOMPARE(list->count(), 0);
        });
        click(dialog, "passwordsPushButton");
        QVERIFY(m_boxes->lastText().contains("«boris» тем временем"));
        QVERIFY(!isConnectionRegistered(mainConnection) && Session::instance().user().id == 0);

        // Anna has hers now, but not the right.
        type(dialog, "loginLineEdit", "anna");
        type(dialog, "passwordLineEdit", "чай");
        m_boxes->answer("OK");
        click(dialog, "passwordsPushButton");
        QVERIFY(m_boxes->lastText().contains("этого права нет"));
        QCOMPARE(logIn(entry, "anna", "чай"), LoginStep::Done);
    }

    void choiceIsRemembered_andNeverThePassword()
    {
        const ConnectionEntry entry = sqliteEntry(strangeName, "b.sqlite");
        Settings::instance().setConnections(
            {sqliteEntry("A", "a.sqlite"), entry, sqliteEntry("C", "c.sqlite")});
        QVERIFY(copyDatabase(entry, "UPDATE users SET login='Зина <i>%1'"));
        {
            SelectConnectionDialog dialog;
            dialog.show();
            auto *list = child<QListWidget>(dialog, "connectionListWidget");
            auto *friendList = child<QListWidget>(dialog, "friendConnectionListWidget");
            QCOMPARE(texts(list), (QStringList{"A", strangeName, "C"}));
            QTest::keyClick(list, Qt::Key_Down);
            friendList->setCurrentRow(2);
            type(dialog, "loginLineEdit", " Зина <i>%1 ");
            type(dialog, "passwordLineEdit", "secret");
            m_boxes->answer("OK");
            click(dialog, "okPushButton");
            QVERIFY(m_boxes->lastText().startsWith("Справочная база не может быть той же"));
            QVERIFY(dialog.isVisible());
            QTest::keyClick(friendList, Qt::Key_End);
            click(dialog, "okPushButton");
            QCOMPARE(dialog.result(), int(QDialog::Accepted));
        }
        QVERIFY(!readFile(settingsFilePath()).contains("secret"));
        QCOMPARE(Settings::instance().load(settingsFilePath()), Settings::LoadResult::Loaded);
        const SelectConnectionDialog dialog;
        QCOMPARE(dialog.connectionName(), strangeName);
        QCOMPARE(dialog.friendConnectionName(), "C");
        QCOMPARE(child<QLineEdit>(dialog, "loginLineEdit")->text(), "Зина <i>%1");
        QCOMPARE(child<QLineEdit>(dialog, "passwordLineEdit")->text(), QString());
    }

    void emptyList_opensTheEditor()
    {
        const QString error = "Ошибка 18529: пустой список подключений в файле настроек.";
        Settings::instance().setConnections({});
        SelectConnectionDialog dialog;
        m_boxes->answer("OK");
        bool left = false;
        m_steps->whenOpen<ConnectionDialog>([&left](ConnectionDialog &editor) {
            editor.reject();
            left = true;
        });
        dialog.show();
        QTRY_VERIFY(left);
        QCOMPARE(m_boxes->lastText(), error);
        QCOMPARE(dialog.connectionName(), QString());
        for (const char *name : {"editPushButton", "deletePushButton", "checkPushButton"})
            QVERIFY2(!child<QPushButton>(dialog, name)->isEnabled(), name);

        // OK has nothing to connect to: the same again, and this time the proposal is taken.
        m_boxes->answer("OK");
        m_steps->whenOpen<ConnectionDialog>([](ConnectionDialog &editor) {
            QCOMPARE(editor.entry(), Settings::localConnection());
            type(editor, "nameLineEdit", "Моя база");
            QTest::keyClick(editor.focusWidget(), Qt::Key_Return);
        });
        click(dialog, "okPushButton");
        QCOMPARE(m_boxes->lastText(), error);
        QCOMPARE(dialog.connectionName(), "Моя база");
        QCOMPARE(Settings::instance().load(settingsFilePath()), Settings::LoadResult::Loaded);
        QVERIFY(Settings::instance().findConnection("Моя база"));
    }

    void connections_areAddedEditedAndDeleted()
    {
        ConnectionEntry kept = sqliteEntry("B", "b.sqlite");
        kept.other = {{"kassanumber", "7"}};
        Settings::instance().setConnections({sqliteEntry("A", "a.sqlite"), kept});
        Settings::instance().setValue(SettingsKey::FriendConnection, "B");
        SelectConnectionDialog dialog;
        dialog.show();
        const auto *list = child<QListWidget>(dialog, "connectionListWidget");

        m_boxes->answer("OK");
        m_boxes->answer("OK");
        m_steps->whenOpen<ConnectionDialog>([this](ConnectionDialog &editor) {
            auto *kind = child<QComboBox>(editor, "dbtypeComboBox");
            kind->setCurrentIndex(kind->findData("postgresql"));
            type(editor, "nameLineEdit", " A ");
            click(editor, "okPushButton");
            QVERIFY(m_boxes->lastText().contains("«A» уже есть"));
            QCOMPARE(editor.focusWidget(), child<QLineEdit>(editor, "nameLineEdit"));
            type(editor, "nameLineEdit", strangeName);
            type(editor, "dbhostnameLineEdit", "db.example:5433");
            type(editor, "dbusernameLineEdit", "shop");
            type(editor, "dbpasswordLineEdit", " p<a>ss ");
            click(editor, "okPushButton");
            QCOMPARE(m_boxes->lastText(), "Укажите имя базы данных.");
            QCOMPARE(editor.focusWidget(), child<QLineEdit>(editor, "databasenameLineEdit"));
            type(editor, "databasenameLineEdit", "lavkor");
            click(editor, "okPushButton");
        });
        click(dialog, "addPushButton");
        QCOMPARE(texts(list), (QStringList{"A", "B", strangeName}));
        QCOMPARE(dialog.connectionName(), strangeName);
        QCOMPARE(dialog.friendConnectionName(), "B");

        // Editing keeps the keys of other programs, and the reference choice follows the new name.
        child<QListWidget>(dialog, "connectionListWidget")->setCurrentRow(1);
        m_steps->whenOpen<ConnectionDialog>([](ConnectionDialog &editor) {
            type(editor, "nameLineEdit", "Б");
            click(editor, "okPushButton");
        });
        click(dialog, "editPushButton");
        QCOMPARE(dialog.connectionName(), "Б");
        QCOMPARE(dialog.friendConnectionName(), "Б");

        child<QListWidget>(dialog, "connectionListWidget")->setCurrentRow(0);
        m_boxes->answer("Отмена");
        click(dialog, "deletePushButton");
        QCOMPARE(list->count(), 3);
        m_boxes->answer("Удалить");
        click(dialog, "deletePushButton");
        QVERIFY(m_boxes->lastText().contains("«A»"));

        child<QListWidget>(dialog, "connectionListWidget")->setCurrentRow(1);
        m_boxes->answer("Отмена");
        click(dialog, "deletePushButton");
        QVERIFY(m_boxes->lastText().contains("«" + strangeName));
        QVERIFY(!m_boxes->requests().last().html);

        QCOMPARE(Settings::instance().load(settingsFilePath()), Settings::LoadResult::Loaded);
        kept.name = "Б";
        ConnectionEntry added = serverEntry("postgresql");
        added.name = strangeName;
        added.dbhostname = "db.example:5433";
        added.dbpassword = " p<a>ss ";
        QCOMPARE(Settings::instance().connections(), (QList<ConnectionEntry>{kept, added}));
    }

    void faultyEntries_areRefused_data()
    {
        using Entry = ConnectionEntry;
        // fault: empty when there is none
        addColumns<Member, QString, QString>("field", "value", "fault");
        addRow("no kind", &Entry::dbtype, "", "вид базы");
        addRow("kind in capitals", &Entry::dbtype, "MySQL", "вид базы");
        addRow("no server", &Entry::dbhostname, "", "адрес сервера");
        addRow("port only", &Entry::dbhostname, ":3306", "в виде");
        addRow("port missing", &Entry::dbhostname, "db:", "в виде");
        addRow("port is no number", &Entry::dbhostname, "db:33o6", "в виде");
        addRow("port too large", &Entry::dbhostname, "db:65536", "в виде");
        addRow("two ports", &Entry::dbhostname, "db:1:2", "в виде");
        addRow("port", &Entry::dbhostname, "db:65535", "");
        addRow("no user", &Entry::dbusername, "", "имя пользователя");
        addRow("no database", &Entry::databasename, "", "имя базы");
        addRow("no password", &Entry::dbpassword, "", "");
        addRow("key is missing", &Entry::dbclientkey, "/nowhere/key.pem", "не найден");
        addRow("certificate that parts options", &Entry::dbcacert, "/a.pem;CLIENT_SSL=0",
               "точки с запятой");
    }

    void faultyEntries_areRefused()
    {
        const auto [field, value, fault] = rowValues<Member, QString, QString>();
        ConnectionEntry entry = serverEntry("mysql");
        entry.*field = value;
        const std::optional<ConnectionFault> found = connectionFault(entry);
        QCOMPARE(found.has_value(), !fault.isEmpty());
        QVERIFY(!found || (found->text.contains(fault) && found->field == field));
    }

    void editor_dropsWhatTheKindDoesNotUse()
    {
        ConnectionEntry entry = serverEntry("mysql");
        entry.dbcacert = "/ca.pem";
        ConnectionDialog editor(entry, {});
        QCOMPARE(editor.entry(), entry);
        auto *kind = child<QComboBox>(editor, "dbtypeComboBox");
        kind->setCurrentIndex(kind->findData("sqlite"));
        QCOMPARE(editor.entry(), sqliteEntry("A", "lavkor"));
    }

    void check_tellsTheResultAndLeavesNothing_data()
    {
        addColumns<QString, QString, QString>("dbtype", "place", "text");
        addRow("no file yet", "sqlite", "new.sqlite", "будет создана при первом входе");
        addRow("no directory", "sqlite", "/nowhere/new.sqlite", "нельзя создать");
        addRow("another file", "sqlite", "text.txt", "Ошибка создания соединения");
        addRow("a database", "sqlite", "lavkor.sqlite", "установлено");
        addRow("no server there", "mysql", "127.0.0.1:1", "Ошибка создания соединения");
    }

    void check_tellsTheResultAndLeavesNothing()
    {
        const auto [dbtype, place, text] = rowValues<QString, QString, QString>();
        QVERIFY(copyDatabase(Settings::localConnection()));
        writeFile(configDirPath() + "/text.txt", QByteArray(5000, 'x'));
        ConnectionEntry entry = serverEntry(dbtype);
        entry.dbhostname = entry.databasename = place;
        ConnectionDialog editor(entry, {});
        editor.show();
        m_boxes->answer("OK");
        click(editor, "checkPushButton");
        QVERIFY2(m_boxes->lastText().contains(text), qPrintable(m_boxes->lastText()));
        QVERIFY(editor.isVisible());
        QVERIFY(!QFile::exists(configDirPath() + "/new.sqlite"));
        QVERIFY(!isConnectionRegistered("connectioncheck"));
    }

    void servers_areSetUpAtTheFirstLogin()
    {
        for (const Dialect dialect : {Dialect::MySql, Dialect::PostgreSql}) {
            const ScratchDatabase database(dialect);
            const QString password = "ёлка \\ ' %1";
            QCOMPARE(logIn(database.entry(), "admin", {}, password), LoginStep::Done);
            QCOMPARE(database.client("SELECT COUNT(*) FROM users WHERE password LIKE "
                                     "'pbkdf2-sha256$%';"),
                     "1");
            removeConnection(mainConnection);
            // Tables without transactions are named.
            if (dialect == Dialect::MySql) {
                database.client("ALTER TABLE income ENGINE=MyISAM; ALTER TABLE codes ENGINE=Aria; "
                                "CREATE TABLE somebodyelses(id INTEGER) ENGINE=MyISAM;");
                m_boxes->answer("OK");
            }
            QCOMPARE(logIn(database.entry(), "admin", password), LoginStep::Done);
            QCOMPARE(m_boxes->lastText().contains(": codes, income. "),
                     !m_boxes->texts().isEmpty());
            QVERIFY(!Session::instance().mainCurrencySymbol().isEmpty());
            removeConnection(mainConnection);
            QVERIFY(m_boxes->verify());
        }
    }

private:
    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<QueuedBoxes> m_boxes;
    std::unique_ptr<DialogSteps> m_steps;
};

QTEST_MAIN(TestSelectConnection)
#include "tst_selectconnection.moc"
