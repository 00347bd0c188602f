#include "app/configdir.h"
#include "app/settings.h"
#include "db/query.h"
#include "db/schema.h"
#include "db/session.h"
#include "login/connectiondialog.h"
#include "login/connectionrules.h"
#include "login/euladialog.h"
#include "login/loginsequence.h"
#include "login/passworddialog.h"
#include "login/selectconnectiondialog.h"
#include "login/userpasswordsdialog.h"
#include "tests/support/dialogsteps.h"
#include "tests/support/files.h"
#include "tests/support/queuedboxes.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/servers.h"
#include "tests/support/testhome.h"
#include "tests/support/widgets.h"

namespace {

const QString strangeName = "Склад <b>%1</b> & 'Юг' \"2\" %2 \\";

ConnectionEntry sqliteEntry(const QString &name, const QString &file)
{
    return {.name = name, .dbtype = "sqlite", .databasename = file};
}

const ConnectionEntry serverEntry = {"A", "mysql", "db:65535", "shop", "secret", "lavkor"};

/// Runs statements on an SQLite file with its own client.
QString client(const ConnectionEntry &entry, const QString &statements)
{
    return TestServers::instance().client(Dialect::Sqlite, databaseFilePath(entry), statements);
}

/// Logs in; who has no password yet gets "secret".
LoginStep logIn(const ConnectionEntry &entry, const QString &login, const QString &password = {})
{
    QWidget window;
    return runLogin(&window, {entry, login, password}, [](const QString &) { return "secret"; });
}

/// Copies a database that is made once, with the password "secret" for its administrator, and runs
/// statements there.
bool copyDatabase(const ConnectionEntry &entry, const QString &statements = {})
{
    static const QTemporaryDir directory;
    static const ConnectionEntry original =
        sqliteEntry("original", directory.filePath("original.sqlite"));
    static const bool made = logIn(original, "admin") == LoginStep::Done;
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

    void licence_isAcceptedOnce()
    {
        qunsetenv("XDG_CONFIG_HOME");
        // Neither a scan accepts nor Return on the other button.
        m_steps->whenOpen<EulaDialog>([](EulaDialog &dialog) {
            QTest::keyClicks(dialog.focusWidget(), "4600051000057\r");
            QVERIFY(dialog.isVisible());
            child<QPushButton>(dialog, "declinePushButton")->setFocus();
            QTest::keyClick(dialog.focusWidget(), Qt::Key_Return);
            QVERIFY(dialog.isHidden());
        });
        QVERIFY(!acceptEula(nullptr));
        m_steps->whenOpen<EulaDialog>(
            [](EulaDialog &dialog) { click(dialog, "acceptPushButton"); });
        QVERIFY(acceptEula(nullptr));
        QVERIFY(acceptEula(nullptr)); // a second dialog would be stuck
    }

    void firstStart_needsOnlyOkAndANewPassword()
    {
        SelectConnectionDialog dialog;
        dialog.show();
        auto *password = child<QLineEdit>(dialog, "passwordLineEdit");
        QCOMPARE(dialog.focusWidget(), password);

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
            for (const char *repeated : {"ёж", "ёж 'secret'"}) {
                type(question, "newPasswordLineEdit", "ёж 'secret'");
                type(question, "repeatPasswordLineEdit", repeated);
                QTest::keyClick(child<QLineEdit>(question, "repeatPasswordLineEdit"),
                                Qt::Key_Return);
            }
            QVERIFY(m_boxes->lastText().contains("не совпадают"));
        });
        QTest::keyClick(password, Qt::Key_Return);

        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QVERIFY(Session::instance().hasRight(Right::ReceiveGoods));
        QVERIFY(QFile::exists(configDirPath() + "/lavkor.sqlite"));
        QVERIFY(!readFile(settingsFilePath()).contains("secret"));
        QCOMPARE(Session::instance().logIn(nullptr, "admin", "ёж 'secret'", mainConnection),
                 LoginResult::Accepted);
    }

    void databaseVersions_areCompared()
    {
        const QString step = "UPDATE dbversion SET version=version";
        for (const auto &[statement, answer, text] :
             {std::tuple(step + "+1", "OK", "более новую версию"),
              {step + "-1", "Отмена", "более старую версию"},
              {step + "-1", "Обновить", "на всех компьютерах"},
              {"DELETE FROM dbversion", "Обновить", "более старую версию"}}) {
            const ConnectionEntry entry = sqliteEntry("A", QString(answer) + text);
            QVERIFY(copyDatabase(entry, statement));
            m_boxes->answer(answer);
            const bool accepted = answer == QString("Обновить");
            QCOMPARE(logIn(entry, "admin", "secret"),
                     accepted ? LoginStep::Done : LoginStep::PrepareDatabase);
            QVERIFY(m_boxes->lastText().contains(text));
            QCOMPARE(isConnectionRegistered(mainConnection), accepted);
            QVERIFY(createConnection(nullptr, entry, mainConnection));
            QCOMPARE(schemaState(nullptr, mainConnection) == SchemaState::Current, accepted);
        }
    }

    void strangeDatabases_areNotTouchedUnasked()
    {
        ConnectionEntry entry = sqliteEntry("A", "foreign.sqlite");
        QVERIFY(ensureConfigDir());
        client(entry, "CREATE TABLE users(id INTEGER, login TEXT)");
        m_boxes->answer("Отмена");
        QCOMPARE(logIn(entry, "admin"), LoginStep::PrepareDatabase);
        QVERIFY(m_boxes->lastText().contains("«foreign.sqlite»"));
        QCOMPARE(client(entry, "SELECT COUNT(*) FROM sqlite_master"), "1");

        entry.dbtype = "QSQLITE";
        m_boxes->answer("OK");
        QCOMPARE(logIn(entry, "admin"), LoginStep::Connect);
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
        QVERIFY(copyDatabase(Settings::localConnection(),
                             "INSERT INTO users(login,name,rights) VALUES('anna','Анна',5),"
                             "('boris','',5)"));
        SelectConnectionDialog dialog;
        dialog.show();
        type(dialog, "loginLineEdit", "anna");
        m_boxes->answer("OK");
        click(dialog, "okPushButton");
        QVERIFY(m_boxes->lastText().contains("Первый пароль даёт администратор"));

        type(dialog, "loginLineEdit", "admin");
        auto *password = child<QLineEdit>(dialog, "passwordLineEdit");
        type(dialog, "passwordLineEdit", "wrong");
        m_boxes->answer("OK");
        QTest::keyClick(password, Qt::Key_Return);
        QVERIFY(m_boxes->lastText().startsWith("Неверное имя пользователя или пароль"));
        QVERIFY(dialog.isVisible() && dialog.focusWidget() == password);
        QVERIFY(!isConnectionRegistered(mainConnection) && Session::instance().user().id == 0);

        QTest::keyClicks(password, "secret"); // replaces the wrong one
        m_boxes->answer("OK");
        m_steps->whenOpen<UserPasswordsDialog>([this](UserPasswordsDialog &users) {
            const auto *list = child<QListWidget>(users, "usersListWidget");
            QCOMPARE(list->item(0)->text(), "anna — Анна");
            for (const char *first : {"чай", "кофе"}) {
                DialogSteps inner;
                inner.whenOpen<PasswordDialog>([&](PasswordDialog &question) {
                    type(question, "newPasswordLineEdit", first);
                    type(question, "repeatPasswordLineEdit", first);
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
        QTest::keyClick(password, Qt::Key_Return);
        QCOMPARE(Session::instance().user().login, "anna");
    }

    void choiceIsRemembered()
    {
        const ConnectionEntry entry = sqliteEntry(strangeName, "b.sqlite");
        Settings::instance().setConnections(
            {sqliteEntry("A", "a.sqlite"), entry, sqliteEntry("C", "c.sqlite")});
        QVERIFY(copyDatabase(entry, "UPDATE users SET login='Зина <i>%1'"));
        {
            SelectConnectionDialog dialog;
            dialog.show();
            auto *friendList = child<QListWidget>(dialog, "friendConnectionListWidget");
            QTest::keyClick(child<QListWidget>(dialog, "connectionListWidget"), Qt::Key_Down);
            friendList->setCurrentRow(2);
            type(dialog, "loginLineEdit", " Зина <i>%1 ");
            type(dialog, "passwordLineEdit", "secret");
            m_boxes->answer("OK");
            click(dialog, "okPushButton");
            QVERIFY(m_boxes->lastText().startsWith("Справочная база не может быть той же"));
            QTest::keyClick(friendList, Qt::Key_End);
            click(dialog, "okPushButton");
            QCOMPARE(dialog.result(), int(QDialog::Accepted));
        }
        QCOMPARE(Settings::instance().load(settingsFilePath()), Settings::LoadResult::Loaded);
        const SelectConnectionDialog dialog;
        QCOMPARE(dialog.connectionName(), strangeName);
        QCOMPARE(dialog.friendConnectionName(), "C");
        QCOMPARE(child<QLineEdit>(dialog, "loginLineEdit")->text(), "Зина <i>%1");
    }

    void emptyList_opensTheEditor()
    {
        Settings::instance().setConnections({});
        SelectConnectionDialog dialog;
        m_boxes->answer("OK");
        m_steps->whenOpen<ConnectionDialog>([](ConnectionDialog &editor) { editor.reject(); });
        dialog.show();
        QTRY_VERIFY(m_steps->allServed());
        QVERIFY(!child<QPushButton>(dialog, "deletePushButton")->isEnabled());

        // OK has nothing to connect to: the same again, and this time the proposal is taken.
        m_boxes->answer("OK");
        m_steps->whenOpen<ConnectionDialog>([](ConnectionDialog &editor) {
            QCOMPARE(editor.entry(), Settings::localConnection());
            type(editor, "nameLineEdit", "Моя база");
            QTest::keyClick(editor.focusWidget(), Qt::Key_Return);
        });
        click(dialog, "okPushButton");
        QCOMPARE(m_boxes->texts(), QStringList(2, "Ошибка 18529: пустой список подключений в файле "
                                                  "настроек."));
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
        auto *list = child<QListWidget>(dialog, "connectionListWidget");
        m_boxes->answer("OK");
        m_boxes->answer("OK");
        m_steps->whenOpen<ConnectionDialog>([this](ConnectionDialog &editor) {
            auto *kind = child<QComboBox>(editor, "dbtypeComboBox");
            type(editor, "dbcacertLineEdit", "/ca.pem"); // of no use to the other kind
            kind->setCurrentIndex(kind->findData("postgresql"));
            type(editor, "nameLineEdit", " A ");
            click(editor, "okPushButton");
            QVERIFY(m_boxes->lastText().contains("«A» уже есть"));
            type(editor, "nameLineEdit", strangeName);
            type(editor, "dbhostnameLineEdit", "db.example:5433");
            type(editor, "dbusernameLineEdit", "shop");
            type(editor, "dbpasswordLineEdit", " p<a>ss ");
            click(editor, "okPushButton");
            QCOMPARE(editor.focusWidget(), child<QLineEdit>(editor, "databasenameLineEdit"));
            type(editor, "databasenameLineEdit", "lavkor");
            click(editor, "okPushButton");
        });
        click(dialog, "addPushButton");
        QCOMPARE(dialog.connectionName(), strangeName);
        QCOMPARE(dialog.friendConnectionName(), "B");
        m_boxes->answer("Отмена");
        click(dialog, "deletePushButton");
        QVERIFY(m_boxes->lastText().contains("«" + strangeName));
        QVERIFY(!m_boxes->requests().last().html);

        // Editing keeps the keys of other programs, and the reference choice follows the new name.
        list->setCurrentRow(1);
        m_steps->whenOpen<ConnectionDialog>([](ConnectionDialog &editor) {
            type(editor, "nameLineEdit", "Б");
            click(editor, "okPushButton");
        });
        click(dialog, "editPushButton");
        QCOMPARE(dialog.connectionName(), "Б");
        QCOMPARE(dialog.friendConnectionName(), "Б");

        list->setCurrentRow(0);
        m_boxes->answer("Удалить");
        click(dialog, "deletePushButton");
        QCOMPARE(Settings::instance().load(settingsFilePath()), Settings::LoadResult::Loaded);
        kept.name = "Б";
        const ConnectionEntry added = {strangeName, "postgresql", "db.example:5433",
                                       "shop",      " p<a>ss ",   "lavkor"};
        QCOMPARE(Settings::instance().connections(), (QList<ConnectionEntry>{kept, added}));
    }

    void faultyEntries_areRefused()
    {
        using Entry = ConnectionEntry;
        const std::tuple<QString Entry::*, QString, QString> cases[] = {
            {&Entry::dbtype, "MySQL", "вид базы"},
            {&Entry::dbhostname, "", "адрес сервера"},
            {&Entry::dbhostname, ":3306", "в виде"},
            {&Entry::dbhostname, "db:33o6", "в виде"},
            {&Entry::dbhostname, "db:65536", "в виде"},
            {&Entry::dbhostname, "db:1:2", "в виде"},
            {&Entry::dbusername, "", "имя пользователя"},
            {&Entry::databasename, "", "имя базы"},
            {&Entry::dbclientkey, "/nowhere/key.pem", "не найден"},
            {&Entry::dbcacert, "/a.pem;CLIENT_SSL=0", "точки с запятой"}};
        for (const auto &[field, value, fault] : cases) {
            ConnectionEntry entry = serverEntry;
            QVERIFY(!connectionFault(entry));
            entry.*field = value;
            const std::optional<ConnectionFault> found = connectionFault(entry);
            QVERIFY2(found && found->text.contains(fault) && found->field == field,
                     qPrintable(value));
        }
    }

    void check_tellsTheResultAndLeavesNothing()
    {
        QVERIFY(copyDatabase(Settings::localConnection()));
        writeFile(configDirPath() + "/text.txt", QByteArray(5000, 'x'));
        for (const auto &[dbtype, place, text] :
             {std::tuple("sqlite", "new.sqlite", "будет создана при первом входе"),
              {"sqlite", "/nowhere/new.sqlite", "нельзя создать"},
              {"sqlite", "text.txt", "Ошибка создания соединения"},
              {"sqlite", "lavkor.sqlite", "установлено"},
              {"mysql", "127.0.0.1:1", "Ошибка создания соединения"}}) {
            ConnectionEntry entry = serverEntry;
            entry.dbhostname = entry.databasename = place;
            ConnectionDialog editor(entry, {});
            auto *kind = child<QComboBox>(editor, "dbtypeComboBox");
            kind->setCurrentIndex(kind->findData(dbtype));
            // What the kind does not use is dropped.
            QCOMPARE(editor.entry(), kind->currentIndex() > 0 ? entry : sqliteEntry("A", place));
            m_boxes->answer("OK");
            click(editor, "checkPushButton");
            QVERIFY2(m_boxes->lastText().contains(text), qPrintable(m_boxes->lastText()));
            QVERIFY(!QFile::exists(configDirPath() + "/new.sqlite"));
            QVERIFY(!isConnectionRegistered("connectioncheck"));
        }
    }

    void tablesWithoutTransactions_areNamed()
    {
        const ScratchDatabase database(Dialect::MySql);
        QCOMPARE(logIn(database.entry(), "admin"), LoginStep::Done);
        QVERIFY(m_boxes->texts().isEmpty());
        database.client("ALTER TABLE income ENGINE=MyISAM; ALTER TABLE codes ENGINE=Aria; "
                        "CREATE TABLE somebodyelses(id INTEGER) ENGINE=MyISAM;");
        m_boxes->answer("OK");
        QCOMPARE(logIn(database.entry(), "admin", "secret"), LoginStep::Done);
        QVERIFY(m_boxes->lastText().contains(": codes, income. "));
    }

private:
    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<QueuedBoxes> m_boxes;
    std::unique_ptr<DialogSteps> m_steps;
};

QTEST_MAIN(TestSelectConnection)
#include "tst_selectconnection.moc"
