#include "app/configdir.h"
#include "app/settings.h"
#include "db/query.h"
#include "db/schema.h"
#include "db/session.h"
#include "db/sqltext.h"
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

#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

const QString strangeName = "Склад <b>%1</b> & 'Юг' \"2\" %2 \\";

using Member = QString ConnectionEntry::*;

void type(const QWidget &dialog, const char *name, const QString &text)
{
    auto *edit = child<QLineEdit>(dialog, name);
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Delete);
    for (const QChar c : text) // keyClicks() knows Latin letters only
        QTest::sendKeyEvent(QTest::Click, edit, Qt::Key_unknown, QString(c), Qt::NoModifier);
}

QStringList texts(const QListWidget *list)
{
    QStringList all;
    for (int row = 0; row < list->count(); ++row)
        all += list->item(row)->text();
    return all;
}

ConnectionEntry sqliteEntry(const QString &name, const QString &file)
{
    ConnectionEntry entry = Settings::localConnection();
    entry.name = name;
    entry.databasename = file;
    return entry;
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

/// Makes the database of an entry, with the password "secret" for its administrator.
bool makeDatabase(const ConnectionEntry &entry)
{
    const QString name = "preparation";
    const bool made =
        createConnection(nullptr, entry, name) && createSchema(nullptr, name) &&
        Session::instance().logIn(nullptr, "admin", {}, name) == LoginResult::PasswordNeeded &&
        Session::setFirstPassword(nullptr, 1, "secret", name) == FirstPassword::Set;
    removeConnection(name);
    Session::instance().reset();
    return made;
}

/// The same in an SQLite file, copied from one that is made once, and runs a statement there.
bool copyDatabase(const ConnectionEntry &entry, const QString &statement = {})
{
    static const QTemporaryDir directory;
    static const ConnectionEntry original =
        sqliteEntry("original", directory.filePath("original.sqlite"));
    static const bool made = makeDatabase(original);
    if (!made || !ensureConfigDir() || !QFile::copy(original.databasename, databaseFilePath(entry)))
        return false;
    if (statement.isEmpty())
        return true;
    const QString name = "preparation";
    const bool done = createConnection(nullptr, entry, name) && QueryExec(nullptr, statement, name);
    removeConnection(name);
    return done;
}

QVariant valueOf(const ConnectionEntry &entry, const QString &sqlText)
{
    const QString name = "inspection";
    QVariant value =
        createConnection(nullptr, entry, name) ? QueryValue(nullptr, sqlText, name) : QVariant();
    removeConnection(name);
    return value;
}

std::optional<QString> noPassword(const QString &)
{
    return std::nullopt;
}

} // namespace

class TestSelectConnection : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void cleanupTestCase();
    void firstStart_needsOnlyOkAndANewPassword();
    void firstPassword_mayBePutOff();
    void wrongPassword_leavesTheDialogOpen();
    void refusedLogins_leaveNothingBehind_data();
    void refusedLogins_leaveNothingBehind();
    void databaseVersions_areCompared_data();
    void databaseVersions_areCompared();
    void strangeDatabases_areNotTouchedUnasked();
    void firstPasswords_areGivenByWhoManagesUsers();
    void choiceIsRemembered_andNeverThePassword();
    void referenceIsNotTheMainDatabase();
    void emptyList_opensTheEditor();
    void connections_areAddedEditedAndDeleted();
    void faultyEntries_areRefused_data();
    void faultyEntries_areRefused();
    void editor_dropsWhatTheKindDoesNotUse();
    void check_tellsTheResultAndLeavesNothing_data();
    void check_tellsTheResultAndLeavesNothing();
    void servers_areSetUpAtTheFirstLogin_data();
    void servers_areSetUpAtTheFirstLogin();
    void tablesWithoutTransactions_areNamed();

private:
    void useConnections(const QList<ConnectionEntry> &entries);

    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<QueuedBoxes> m_boxes;
    std::unique_ptr<DialogSteps> m_steps;
};

void TestSelectConnection::init()
{
    QTest::failOnWarning(QRegularExpression("connectSlotsByName"));
    m_home = std::make_unique<TestHome>();
    m_boxes = std::make_unique<QueuedBoxes>();
    m_steps = std::make_unique<DialogSteps>();
    Session::instance().reset();
    QCOMPARE(Settings::instance().load(settingsFilePath()), Settings::LoadResult::Missing);
}

void TestSelectConnection::cleanup()
{
    QVERIFY(m_boxes->verify());
    QVERIFY(m_steps->allServed());
    m_steps.reset();
    removeConnection(mainConnection);
    m_boxes.reset();
    m_home.reset();
}

void TestSelectConnection::cleanupTestCase()
{
    Settings::instance().reset();
}

void TestSelectConnection::useConnections(const QList<ConnectionEntry> &entries)
{
    Settings::instance().setConnections(entries);
    QVERIFY(Settings::instance().save());
}

void TestSelectConnection::firstStart_needsOnlyOkAndANewPassword()
{
    SelectConnectionDialog dialog;
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
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
    QVERIFY(openConnection(mainConnection));
    QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Current);
    QVERIFY(QFile::exists(configDirPath() + "/lavkor.sqlite"));
    QCOMPARE(Settings::instance().load(settingsFilePath()), Settings::LoadResult::Loaded);
    QVERIFY(!readFile(settingsFilePath()).contains("secret"));
    QCOMPARE(Session::instance().logIn(nullptr, "admin", "ёж 'secret'", mainConnection),
             LoginResult::Accepted);
}

void TestSelectConnection::firstPassword_mayBePutOff()
{
    SelectConnectionDialog dialog;
    dialog.show();
    m_steps->whenOpen<PasswordDialog>(
        [](PasswordDialog &question) { QTest::keyClick(&question, Qt::Key_Escape); });
    click(dialog, "okPushButton");
    QVERIFY(dialog.isVisible());
    QVERIFY(!isConnectionRegistered(mainConnection));
    QCOMPARE(Session::instance().user().id, 0);

    // The next time it is asked for again.
    const LoginRequest request{Settings::localConnection(), "admin", {}};
    QString asked;
    QCOMPARE(runLogin(nullptr, request,
                      [&asked](const QString &login) {
                          asked = login;
                          return std::optional<QString>("new");
                      }),
             LoginStep::Done);
    QCOMPARE(asked, "admin");
    QCOMPARE(runLogin(nullptr, {request.connection, "admin", "new"}, noPassword), LoginStep::Done);
}

void TestSelectConnection::wrongPassword_leavesTheDialogOpen()
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
    QVERIFY(!isConnectionRegistered(mainConnection));

    QTest::keyClicks(password, "secret"); // replaces the selected text
    QTest::keyClick(password, Qt::Key_Return);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(Session::instance().user().login, "admin");
}

void TestSelectConnection::refusedLogins_leaveNothingBehind_data()
{
    addColumns<QString, QString, QString>("statement", "login", "password");
    addRow("unknown user", "", "nobody", "secret");
    addRow("no password given", "", "admin", "");
    addRow("disabled user without a password", "UPDATE users SET enabled=0, password=''", "admin",
           "");
}

void TestSelectConnection::refusedLogins_leaveNothingBehind()
{
    QFETCH(QString, statement);
    QFETCH(QString, login);
    QFETCH(QString, password);
    QVERIFY(copyDatabase(Settings::localConnection(), statement));
    m_boxes->answer("OK");
    QCOMPARE(runLogin(nullptr, {Settings::localConnection(), login, password}, noPassword),
             LoginStep::LogIn);
    QVERIFY(m_boxes->lastText().startsWith("Неверное имя"));
    QVERIFY(!isConnectionRegistered(mainConnection));
    QCOMPARE(Session::instance().user().id, 0);
}

void TestSelectConnection::databaseVersions_areCompared_data()
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

void TestSelectConnection::databaseVersions_areCompared()
{
    QFETCH(QString, statement);
    QFETCH(QString, text);
    QFETCH(QString, answer);
    QFETCH(bool, accepted);
    const ConnectionEntry entry = Settings::localConnection();
    QVERIFY(copyDatabase(entry, statement));
    if (!answer.isEmpty())
        m_boxes->answer(answer);
    const LoginStep result = runLogin(nullptr, {entry, "admin", "secret"}, noPassword);
    QCOMPARE(m_boxes->lastText(), text);
    QCOMPARE(result, accepted ? LoginStep::Done : LoginStep::PrepareDatabase);
    QCOMPARE(isConnectionRegistered(mainConnection), accepted);
    QCOMPARE(valueOf(entry, "SELECT MAX(version) FROM dbversion;") == schemaVersion(), accepted);
}

void TestSelectConnection::strangeDatabases_areNotTouchedUnasked()
{
    ConnectionEntry entry = sqliteEntry("A", "foreign.sqlite");
    QVERIFY(ensureConfigDir());
    QVERIFY(!valueOf(entry, "CREATE TABLE users(id INTEGER, login TEXT)").isValid());
    m_boxes->answer("Отмена");
    QCOMPARE(runLogin(nullptr, {entry, "admin", {}}, noPassword), LoginStep::PrepareDatabase);
    QVERIFY(m_boxes->lastText().contains("«foreign.sqlite»"));
    QCOMPARE(valueOf(entry, "SELECT COUNT(*) FROM sqlite_master").toInt(), 1);

    entry.dbtype = "QSQLITE";
    m_boxes->answer("OK");
    QCOMPARE(runLogin(nullptr, {entry, "admin", {}}, noPassword), LoginStep::Connect);
    QVERIFY(m_boxes->lastText().contains("«QSQLITE»"));

    // What cannot be made is told in one box; and a login ends where the rates cannot be read.
    entry = sqliteEntry("B", "view.sqlite");
    QVERIFY(copyDatabase(entry, "ALTER TABLE currencies RENAME TO old"));
    QVERIFY(!valueOf(entry, "CREATE VIEW currencies AS SELECT 1 AS id").isValid());
    m_boxes->answer("OK");
    m_boxes->answer("OK");
    QWidget window;
    QCOMPARE(runLogin(&window, {entry, "admin", "secret"}, noPassword), LoginStep::LoadOptions);
    QVERIFY(m_boxes->texts().at(2).contains("Не выполнено операций: 3"));
    QVERIFY(m_boxes->requests().at(2).details.contains("currencies"));
    QVERIFY(m_boxes->lastText().startsWith("Ошибка SQL:"));
}

void TestSelectConnection::firstPasswords_areGivenByWhoManagesUsers()
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
                    QVERIFY(
                        QueryExec(nullptr, "UPDATE users SET password='x' WHERE login='boris'"));
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
    QCOMPARE(runLogin(nullptr, {entry, "anna", "чай"}, noPassword), LoginStep::Done);
}

void TestSelectConnection::choiceIsRemembered_andNeverThePassword()
{
    const QList<ConnectionEntry> entries{sqliteEntry("A", "a.sqlite"),
                                         sqliteEntry(strangeName, "b.sqlite"),
                                         sqliteEntry("C", "c.sqlite")};
    useConnections(entries);
    QVERIFY(copyDatabase(entries.at(1), "UPDATE users SET login='Зина <i>%1'"));
    {
        SelectConnectionDialog dialog;
        dialog.show();
        auto *list = child<QListWidget>(dialog, "connectionListWidget");
        QCOMPARE(texts(list), (QStringList{"A", strangeName, "C"}));
        QTest::keyClick(list, Qt::Key_Down);
        QTest::keyClick(child<QListWidget>(dialog, "friendConnectionListWidget"), Qt::Key_End);
        type(dialog, "loginLineEdit", " Зина <i>%1 ");
        type(dialog, "passwordLineEdit", "secret");
        click(dialog, "okPushButton");
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QCOMPARE(dialog.connectionName(), strangeName);
        QCOMPARE(dialog.friendConnectionName(), "C");
    }
    QVERIFY(!readFile(settingsFilePath()).contains("secret"));
    QCOMPARE(Settings::instance().load(settingsFilePath()), Settings::LoadResult::Loaded);
    const SelectConnectionDialog dialog;
    QCOMPARE(dialog.connectionName(), strangeName);
    QCOMPARE(dialog.friendConnectionName(), "C");
    QCOMPARE(child<QLineEdit>(dialog, "loginLineEdit")->text(), "Зина <i>%1");
    QCOMPARE(child<QLineEdit>(dialog, "passwordLineEdit")->text(), QString());
}

void TestSelectConnection::referenceIsNotTheMainDatabase()
{
    SelectConnectionDialog dialog;
    dialog.show();
    QTest::keyClick(child<QListWidget>(dialog, "friendConnectionListWidget"), Qt::Key_Down);
    m_boxes->answer("OK");
    click(dialog, "okPushButton");
    QVERIFY(m_boxes->lastText().startsWith("Справочная база не может быть той же"));
    QVERIFY(dialog.isVisible());
}

void TestSelectConnection::emptyList_opensTheEditor()
{
    const QString error = "Ошибка 18529: пустой список подключений в файле настроек.";
    useConnections({});
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

void TestSelectConnection::connections_areAddedEditedAndDeleted()
{
    ConnectionEntry kept = sqliteEntry("B", "b.sqlite");
    kept.other = {{"kassanumber", "7"}};
    useConnections({sqliteEntry("A", "a.sqlite"), kept});
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

void TestSelectConnection::faultyEntries_areRefused_data()
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

void TestSelectConnection::faultyEntries_areRefused()
{
    QFETCH(Member, field);
    QFETCH(QString, value);
    QFETCH(QString, fault);
    ConnectionEntry entry = serverEntry("mysql");
    entry.*field = value;
    const std::optional<ConnectionFault> found = connectionFault(entry);
    QCOMPARE(found.has_value(), !fault.isEmpty());
    if (found) {
        QVERIFY2(found->text.contains(fault), qPrintable(found->text));
        QVERIFY(found->field == field);
    }
}

void TestSelectConnection::editor_dropsWhatTheKindDoesNotUse()
{
    ConnectionEntry entry = serverEntry("mysql");
    entry.dbcacert = "/ca.pem";
    ConnectionDialog editor(entry, {});
    QCOMPARE(editor.entry(), entry);
    auto *kind = child<QComboBox>(editor, "dbtypeComboBox");
    kind->setCurrentIndex(kind->findData("sqlite"));
    QCOMPARE(editor.entry(), sqliteEntry("A", "lavkor"));
}

void TestSelectConnection::check_tellsTheResultAndLeavesNothing_data()
{
    addColumns<QString, QString, QString>("dbtype", "place", "text");
    addRow("no file yet", "sqlite", "new.sqlite", "будет создана при первом входе");
    addRow("no directory", "sqlite", "/nowhere/new.sqlite", "нельзя создать");
    addRow("another file", "sqlite", "text.txt", "Ошибка создания соединения");
    addRow("a database", "sqlite", "lavkor.sqlite", "установлено");
    addRow("no server there", "mysql", "127.0.0.1:1", "Ошибка создания соединения");
}

void TestSelectConnection::check_tellsTheResultAndLeavesNothing()
{
    QFETCH(QString, dbtype);
    QFETCH(QString, place);
    QFETCH(QString, text);
    QVERIFY(copyDatabase(Settings::localConnection()));
    writeFile(configDirPath() + "/text.txt", QByteArray(5000, 'x'));
    ConnectionEntry entry = sqliteEntry("A", place);
    if (dbtype != u"sqlite") {
        entry = serverEntry(dbtype);
        entry.dbhostname = place;
    }
    ConnectionDialog editor(entry, {});
    editor.show();
    m_boxes->answer("OK");
    click(editor, "checkPushButton");
    QVERIFY2(m_boxes->lastText().contains(text), qPrintable(m_boxes->lastText()));
    QVERIFY(editor.isVisible());
    QVERIFY(!QFile::exists(configDirPath() + "/new.sqlite"));
    QVERIFY(!isConnectionRegistered("connectioncheck"));
}

void TestSelectConnection::servers_areSetUpAtTheFirstLogin_data()
{
    addDialectRows();
}

void TestSelectConnection::servers_areSetUpAtTheFirstLogin()
{
    QFETCH(Dialect, dialect);
    ScratchDatabase database(dialect);
    const QString password = "ёлка \\ ' %1";
    const auto askOnce = [&password](const QString &) {
        return std::optional(password);
    };
    QCOMPARE(runLogin(nullptr, {database.entry(), "admin", {}}, askOnce), LoginStep::Done);
    QCOMPARE(database.client("SELECT COUNT(*) FROM users WHERE password LIKE 'pbkdf2-sha256$%';"),
             "1");
    removeConnection(mainConnection);
    QCOMPARE(runLogin(nullptr, {database.entry(), "admin", password}, noPassword), LoginStep::Done);
    QVERIFY(!Session::instance().mainCurrencySymbol().isEmpty());
    removeConnection(mainConnection);
}

void TestSelectConnection::tablesWithoutTransactions_areNamed()
{
    ScratchDatabase database(Dialect::MySql);
    QVERIFY(makeDatabase(database.entry()));
    database.client("ALTER TABLE income ENGINE=MyISAM; ALTER TABLE codes ENGINE=Aria; "
                    "CREATE TABLE somebodyelses(id INTEGER) ENGINE=MyISAM;");
    m_boxes->answer("OK");
    QCOMPARE(runLogin(nullptr, {database.entry(), "admin", "secret"}, noPassword), LoginStep::Done);
    QVERIFY(m_boxes->lastText().contains("codes"));
    QVERIFY(m_boxes->lastText().contains("income"));
    QVERIFY(!m_boxes->lastText().contains("somebodyelses"));
    removeConnection(mainConnection);
}

QTEST_MAIN(TestSelectConnection)
#include "tst_selectconnection.moc"
