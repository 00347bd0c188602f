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
#include "tests/support/queuedboxes.h"
#include "tests/support/scratchdatabase.h"
#include "tests/support/servers.h"
#include "tests/support/testhome.h"

#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <memory>

namespace {

const QString strangeName = QStringLiteral("Склад <b>%1</b> & 'Юг' \"2\" %2 \\");

int waitingActions = 0;

/// Acts in a modal dialog of that kind as soon as it stands open.
template<typename Dialog>
void whenOpen(std::function<void(Dialog &)> action)
{
    ++waitingActions;
    auto *timer = new QTimer(qApp);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, action] {
        auto *dialog = qobject_cast<Dialog *>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        timer->stop();
        timer->deleteLater();
        --waitingActions;
        action(*dialog);
        if (dialog->isVisible()) // an action that leaves it open must not hang the test
            dialog->reject();
    });
    timer->start(0);
}

template<typename Widget>
Widget *child(const QWidget &parent, const char *name)
{
    auto *widget = parent.findChild<Widget *>(QLatin1String(name));
    if (!widget)
        qFatal("There is no widget %s", name);
    return widget;
}

void type(const QWidget &dialog, const char *name, const QString &text)
{
    auto *edit = child<QLineEdit>(dialog, name);
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Delete);
    for (const QChar c : text) // keyClicks() knows Latin letters only
        QTest::sendKeyEvent(QTest::Click, edit, Qt::Key_unknown, QString(c), Qt::NoModifier);
}

void press(const QWidget &dialog, const char *name)
{
    QTest::mouseClick(child<QPushButton>(dialog, name), Qt::LeftButton);
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

QByteArray settingsFile()
{
    QFile file(settingsFilePath());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be read");
}

/// Makes the database of an entry, with the password "secret" for its administrator.
bool makeDatabase(const ConnectionEntry &entry)
{
    const QString name = QStringLiteral("preparation");
    const bool made =
        createConnection(nullptr, entry, name) && createSchema(nullptr, name) &&
        Session::instance().logIn(nullptr, "admin", {}, name) == LoginResult::PasswordNeeded &&
        Session::instance().setPassword(nullptr, "secret", name);
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
    if (!made || !ensureConfigDir() || !QFile::copy(original.databasename, sqliteFilePath(entry)))
        return false;
    if (statement.isEmpty())
        return true;
    const QString name = QStringLiteral("preparation");
    const bool done = createConnection(nullptr, entry, name) && QueryExec(nullptr, statement, name);
    removeConnection(name);
    return done;
}

QVariant valueOf(const ConnectionEntry &entry, const QString &sqlText)
{
    const QString name = QStringLiteral("inspection");
    const QVariant value =
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
    void unusableDatabase_leavesTheDialogOpen();
    void choiceIsRemembered_andNeverThePassword();
    void referenceIsNotTheMainDatabase();
    void unwritableSettings_areToldButDoNotStopTheWork();
    void emptyList_opensTheEditor();
    void connections_areAddedEditedAndDeleted();
    void faultyEntries_areRefused_data();
    void faultyEntries_areRefused();
    void editor_showsTheFieldsOfTheKind();
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
};

void TestSelectConnection::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral("connectSlotsByName")));
    m_home = std::make_unique<TestHome>();
    m_boxes = std::make_unique<QueuedBoxes>();
    Session::instance().reset();
    QCOMPARE(Settings::instance().load(settingsFilePath()), Settings::LoadResult::Missing);
}

void TestSelectConnection::cleanup()
{
    QVERIFY(m_boxes->verify());
    QCOMPARE(waitingActions, 0);
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
    QCOMPARE(texts(list), QStringList{QStringLiteral("Локальная база")});
    QCOMPARE(texts(friendList),
             (QStringList{QStringLiteral("нет"), QStringLiteral("Локальная база")}));
    QCOMPARE(dialog.connectionName(), QStringLiteral("Локальная база"));
    QCOMPARE(dialog.friendConnectionName(), QString());
    QCOMPARE(child<QLineEdit>(dialog, "loginLineEdit")->text(), QStringLiteral("admin"));
    auto *password = child<QLineEdit>(dialog, "passwordLineEdit");
    QCOMPARE(dialog.focusWidget(), password);
    QCOMPARE(password->echoMode(), QLineEdit::Password);

    m_boxes->answer(QStringLiteral("OK"));
    m_boxes->answer(QStringLiteral("OK"));
    whenOpen<PasswordDialog>([this](PasswordDialog &question) {
        press(question, "okPushButton");
        QVERIFY(m_boxes->lastText().contains(QStringLiteral("не может быть пустым")));
        type(question, "newPasswordLineEdit", QStringLiteral("ёж 'secret'"));
        type(question, "repeatPasswordLineEdit", QStringLiteral("ёж"));
        press(question, "okPushButton");
        QVERIFY(m_boxes->lastText().contains(QStringLiteral("не совпадают")));
        QVERIFY(question.isVisible());
        QCOMPARE(question.focusWidget(), child<QLineEdit>(question, "newPasswordLineEdit"));
        type(question, "newPasswordLineEdit", QStringLiteral("ёж 'secret'"));
        type(question, "repeatPasswordLineEdit", QStringLiteral("ёж 'secret'"));
        QTest::keyClick(question.focusWidget(), Qt::Key_Return);
    });
    QTest::keyClick(password, Qt::Key_Return);

    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(Session::instance().user().login, QStringLiteral("admin"));
    QVERIFY(Session::instance().hasRight(Right::ReceiveGoods));
    QVERIFY(openConnection(mainConnection));
    QCOMPARE(schemaState(nullptr, mainConnection), SchemaState::Current);
    QVERIFY(QFile::exists(configDirPath() + QStringLiteral("/lavkor.sqlite")));
    QCOMPARE(Settings::instance().load(settingsFilePath()), Settings::LoadResult::Loaded);
    QVERIFY(!settingsFile().contains("secret"));
    QCOMPARE(
        Session::instance().logIn(nullptr, "admin", QStringLiteral("ёж 'secret'"), mainConnection),
        LoginResult::Accepted);
}

void TestSelectConnection::firstPassword_mayBePutOff()
{
    SelectConnectionDialog dialog;
    dialog.show();
    whenOpen<PasswordDialog>(
        [](PasswordDialog &question) { QTest::keyClick(&question, Qt::Key_Escape); });
    press(dialog, "okPushButton");
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
    QCOMPARE(asked, QStringLiteral("admin"));
    QCOMPARE(runLogin(nullptr, {request.connection, "admin", "new"}, noPassword), LoginStep::Done);
}

void TestSelectConnection::wrongPassword_leavesTheDialogOpen()
{
    QVERIFY(copyDatabase(Settings::localConnection()));
    SelectConnectionDialog dialog;
    dialog.show();
    auto *password = child<QLineEdit>(dialog, "passwordLineEdit");
    QTest::keyClicks(password, QStringLiteral("wrong"));
    m_boxes->answer(QStringLiteral("OK"));
    QTest::keyClick(password, Qt::Key_Return);
    QVERIFY(m_boxes->lastText().startsWith(QStringLiteral("Неверное имя пользователя или пароль")));
    QVERIFY(dialog.isVisible());
    QCOMPARE(dialog.focusWidget(), password);
    QCOMPARE(password->selectedText().size(), 5);
    QVERIFY(!isConnectionRegistered(mainConnection));

    QTest::keyClicks(password, QStringLiteral("secret")); // replaces the selected text
    QTest::keyClick(password, Qt::Key_Return);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(Session::instance().user().login, QStringLiteral("admin"));
}

void TestSelectConnection::refusedLogins_leaveNothingBehind_data()
{
    QTest::addColumn<QString>("statement");
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("password");
    QTest::newRow("unknown user") << QString() << "nobody"
                                  << "secret";
    QTest::newRow("no password given") << QString() << "admin"
                                       << "";
    QTest::newRow("disabled user") << "UPDATE users SET enabled=0"
                                   << "admin"
                                   << "secret";
    QTest::newRow("disabled user without a password") << "UPDATE users SET enabled=0, password=''"
                                                      << "admin"
                                                      << "";
    QTest::newRow("password of another program") << "UPDATE users SET password='secret'"
                                                 << "admin"
                                                 << "secret";
    QTest::newRow("statement as a login") << QString() << "' OR '1'='1"
                                          << "secret";
}

void TestSelectConnection::refusedLogins_leaveNothingBehind()
{
    QFETCH(QString, statement);
    QFETCH(QString, login);
    QFETCH(QString, password);
    QVERIFY(copyDatabase(Settings::localConnection(), statement));
    m_boxes->answer(QStringLiteral("OK"));
    QCOMPARE(runLogin(nullptr, {Settings::localConnection(), login, password}, noPassword),
             LoginStep::LogIn);
    QVERIFY(m_boxes->lastText().startsWith(QStringLiteral("Неверное имя")));
    QVERIFY(!isConnectionRegistered(mainConnection));
    QCOMPARE(Session::instance().user().id, 0);
}

void TestSelectConnection::databaseVersions_areCompared_data()
{
    QTest::addColumn<int>("step");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<bool>("accepted");
    const QString newer = QStringLiteral("База данных имеет более новую версию, чем программа. "
                                         "Пожалуйста, обновите Лавкор.");
    const QString older = QStringLiteral(
        "База данных имеет более старую версию, чем программа. При обновлении базы данных "
        "необходимо обновить Лавкор на всех компьютерах, работающих с ней.");
    QTest::newRow("newer") << 1 << newer << "OK" << false;
    QTest::newRow("older, left alone") << -1 << older << "Отмена" << false;
    QTest::newRow("older, upgraded") << -1 << older << "Обновить" << true;
    QTest::newRow("current") << 0 << QString() << QString() << true;
}

void TestSelectConnection::databaseVersions_areCompared()
{
    QFETCH(int, step);
    QFETCH(QString, text);
    QFETCH(QString, answer);
    QFETCH(bool, accepted);
    const ConnectionEntry entry = Settings::localConnection();
    const int version = schemaVersion() + step;
    QVERIFY(copyDatabase(entry,
                         QStringLiteral("UPDATE dbversion SET version=") + sql::integer(version)));
    if (!answer.isEmpty())
        m_boxes->answer(answer);
    const LoginStep result = runLogin(nullptr, {entry, "admin", "secret"}, noPassword);
    QCOMPARE(m_boxes->lastText(), text);
    QCOMPARE(result, accepted ? LoginStep::Done : LoginStep::PrepareDatabase);
    QCOMPARE(isConnectionRegistered(mainConnection), accepted);
    QCOMPARE(valueOf(entry, "SELECT MAX(version) FROM dbversion;").toInt(),
             accepted ? schemaVersion() : version);
}

void TestSelectConnection::unusableDatabase_leavesTheDialogOpen()
{
    useConnections({sqliteEntry("A", "/nowhere/lavkor.sqlite")});
    SelectConnectionDialog dialog;
    dialog.show();
    m_boxes->answer(QStringLiteral("OK"));
    press(dialog, "okPushButton");
    QVERIFY(m_boxes->lastText().startsWith(QStringLiteral("Ошибка создания соединения: ")));
    QVERIFY(dialog.isVisible());
    QVERIFY(!isConnectionRegistered(mainConnection));
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
        type(dialog, "loginLineEdit", QStringLiteral(" Зина <i>%1 "));
        type(dialog, "passwordLineEdit", QStringLiteral("secret"));
        press(dialog, "okPushButton");
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QCOMPARE(dialog.connectionName(), strangeName);
        QCOMPARE(dialog.friendConnectionName(), QStringLiteral("C"));
    }
    QVERIFY(!settingsFile().contains("secret"));
    QCOMPARE(Settings::instance().load(settingsFilePath()), Settings::LoadResult::Loaded);
    const SelectConnectionDialog dialog;
    QCOMPARE(dialog.connectionName(), strangeName);
    QCOMPARE(dialog.friendConnectionName(), QStringLiteral("C"));
    QCOMPARE(child<QLineEdit>(dialog, "loginLineEdit")->text(), QStringLiteral("Зина <i>%1"));
    QCOMPARE(child<QLineEdit>(dialog, "passwordLineEdit")->text(), QString());
}

void TestSelectConnection::referenceIsNotTheMainDatabase()
{
    SelectConnectionDialog dialog;
    dialog.show();
    QTest::keyClick(child<QListWidget>(dialog, "friendConnectionListWidget"), Qt::Key_Down);
    m_boxes->answer(QStringLiteral("OK"));
    press(dialog, "okPushButton");
    QVERIFY(m_boxes->lastText().startsWith(QStringLiteral("Справочная база не может быть той же")));
    QVERIFY(dialog.isVisible());
}

void TestSelectConnection::unwritableSettings_areToldButDoNotStopTheWork()
{
    QVERIFY(copyDatabase(Settings::localConnection()));
    Settings::instance().load(QStringLiteral("/dev/null/lavkor.settings"));
    SelectConnectionDialog dialog;
    dialog.show();
    type(dialog, "passwordLineEdit", QStringLiteral("secret"));
    m_boxes->answer(QStringLiteral("OK"));
    press(dialog, "okPushButton");
    QVERIFY(m_boxes->lastText().startsWith(QStringLiteral("Не удалось сохранить файл настроек")));
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
    QCOMPARE(Settings::instance().value(SettingsKey::Connection), QStringLiteral("Локальная база"));
}

void TestSelectConnection::emptyList_opensTheEditor()
{
    const QString error =
        QStringLiteral("Ошибка 18529: пустой список подключений в файле настроек.");
    useConnections({});
    SelectConnectionDialog dialog;
    m_boxes->answer(QStringLiteral("OK"));
    bool left = false;
    whenOpen<ConnectionDialog>([&left](ConnectionDialog &editor) {
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
    m_boxes->answer(QStringLiteral("OK"));
    whenOpen<ConnectionDialog>([](ConnectionDialog &editor) {
        QCOMPARE(editor.entry(), Settings::localConnection());
        type(editor, "nameLineEdit", QStringLiteral("Моя база"));
        QTest::keyClick(editor.focusWidget(), Qt::Key_Return);
    });
    press(dialog, "okPushButton");
    QCOMPARE(m_boxes->lastText(), error);
    QCOMPARE(dialog.connectionName(), QStringLiteral("Моя база"));
    QCOMPARE(Settings::instance().load(settingsFilePath()), Settings::LoadResult::Loaded);
    QVERIFY(Settings::instance().findConnection(QStringLiteral("Моя база")));
}

void TestSelectConnection::connections_areAddedEditedAndDeleted()
{
    ConnectionEntry kept = sqliteEntry("B", "b.sqlite");
    kept.other = {{"kassanumber", "7"}};
    useConnections({sqliteEntry("A", "a.sqlite"), kept});
    Settings::instance().setValue(SettingsKey::FriendConnection, QStringLiteral("B"));
    SelectConnectionDialog dialog;
    dialog.show();
    const auto *list = child<QListWidget>(dialog, "connectionListWidget");

    m_boxes->answer(QStringLiteral("OK"));
    m_boxes->answer(QStringLiteral("OK"));
    whenOpen<ConnectionDialog>([this](ConnectionDialog &editor) {
        auto *kind = child<QComboBox>(editor, "dbtypeComboBox");
        kind->setCurrentIndex(kind->findData(QStringLiteral("postgresql")));
        type(editor, "nameLineEdit", QStringLiteral(" A "));
        press(editor, "okPushButton");
        QVERIFY(m_boxes->lastText().contains(QStringLiteral("«A» уже есть")));
        QCOMPARE(editor.focusWidget(), child<QLineEdit>(editor, "nameLineEdit"));
        type(editor, "nameLineEdit", strangeName);
        type(editor, "dbhostnameLineEdit", QStringLiteral("db.example:5433"));
        type(editor, "dbusernameLineEdit", QStringLiteral("shop"));
        type(editor, "dbpasswordLineEdit", QStringLiteral(" p<a>ss "));
        press(editor, "okPushButton");
        QCOMPARE(m_boxes->lastText(), QStringLiteral("Укажите имя базы данных."));
        QCOMPARE(editor.focusWidget(), child<QLineEdit>(editor, "databasenameLineEdit"));
        type(editor, "databasenameLineEdit", QStringLiteral("lavkor"));
        press(editor, "okPushButton");
    });
    press(dialog, "addPushButton");
    QCOMPARE(texts(list), (QStringList{"A", "B", strangeName}));
    QCOMPARE(dialog.connectionName(), strangeName);
    QCOMPARE(dialog.friendConnectionName(), QStringLiteral("B"));

    // Editing keeps the keys of other programs, and the reference choice follows the new name.
    child<QListWidget>(dialog, "connectionListWidget")->setCurrentRow(1);
    whenOpen<ConnectionDialog>([](ConnectionDialog &editor) {
        type(editor, "nameLineEdit", QStringLiteral("Б"));
        press(editor, "okPushButton");
    });
    press(dialog, "editPushButton");
    QCOMPARE(dialog.connectionName(), QStringLiteral("Б"));
    QCOMPARE(dialog.friendConnectionName(), QStringLiteral("Б"));

    child<QListWidget>(dialog, "connectionListWidget")->setCurrentRow(0);
    m_boxes->answer(QStringLiteral("Отмена"));
    press(dialog, "deletePushButton");
    QCOMPARE(list->count(), 3);
    m_boxes->answer(QStringLiteral("Удалить"));
    press(dialog, "deletePushButton");
    QVERIFY(m_boxes->lastText().contains(QStringLiteral("«A»")));

    child<QListWidget>(dialog, "connectionListWidget")->setCurrentRow(1);
    m_boxes->answer(QStringLiteral("Отмена"));
    press(dialog, "deletePushButton");
    QVERIFY(m_boxes->lastText().contains(QStringLiteral("«") + strangeName));
    QVERIFY(!m_boxes->requests().last().html);

    QCOMPARE(Settings::instance().load(settingsFilePath()), Settings::LoadResult::Loaded);
    kept.name = QStringLiteral("Б");
    ConnectionEntry added;
    added.name = strangeName;
    added.dbtype = QStringLiteral("postgresql");
    added.dbhostname = QStringLiteral("db.example:5433");
    added.dbusername = QStringLiteral("shop");
    added.dbpassword = QStringLiteral(" p<a>ss ");
    added.databasename = QStringLiteral("lavkor");
    QCOMPARE(Settings::instance().connections(), (QList<ConnectionEntry>{kept, added}));
}

void TestSelectConnection::faultyEntries_areRefused_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("fault");
    const QString address = QStringLiteral("в виде");
    QTest::newRow("nothing wrong") << ""
                                   << ""
                                   << "";
    QTest::newRow("no kind") << "dbtype"
                             << ""
                             << "вид базы";
    QTest::newRow("kind in capitals") << "dbtype"
                                      << "MySQL"
                                      << "вид базы";
    QTest::newRow("no server") << "dbhostname"
                               << ""
                               << "адрес сервера";
    QTest::newRow("port only") << "dbhostname"
                               << ":3306" << address;
    QTest::newRow("port missing") << "dbhostname"
                                  << "db:" << address;
    QTest::newRow("port is no number") << "dbhostname"
                                       << "db:33o6" << address;
    QTest::newRow("port too large") << "dbhostname"
                                    << "db:65536" << address;
    QTest::newRow("two ports") << "dbhostname"
                               << "db:1:2" << address;
    QTest::newRow("port") << "dbhostname"
                          << "db:65535"
                          << "";
    QTest::newRow("no user") << "dbusername"
                             << ""
                             << "имя пользователя";
    QTest::newRow("no database") << "databasename"
                                 << ""
                                 << "имя базы";
    QTest::newRow("no password") << "dbpassword"
                                 << ""
                                 << "";
    QTest::newRow("key is missing") << "dbclientkey"
                                    << "/nowhere/key.pem"
                                    << "не найден";
    QTest::newRow("certificate that parts options") << "dbcacert"
                                                    << "/a.pem;CLIENT_SSL=0"
                                                    << "точки с запятой";
}

void TestSelectConnection::faultyEntries_areRefused()
{
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(QString, fault);
    const QMap<QString, QString ConnectionEntry::*> members{
        {"dbtype", &ConnectionEntry::dbtype},
        {"dbhostname", &ConnectionEntry::dbhostname},
        {"dbusername", &ConnectionEntry::dbusername},
        {"dbpassword", &ConnectionEntry::dbpassword},
        {"databasename", &ConnectionEntry::databasename},
        {"dbcacert", &ConnectionEntry::dbcacert},
        {"dbclientkey", &ConnectionEntry::dbclientkey}};
    ConnectionEntry entry;
    entry.name = QStringLiteral("A");
    entry.dbtype = QStringLiteral("mysql");
    entry.dbhostname = QStringLiteral("db");
    entry.dbusername = QStringLiteral("shop");
    entry.dbpassword = QStringLiteral("secret");
    entry.databasename = QStringLiteral("lavkor");
    if (!key.isEmpty())
        entry.*members.value(key) = value;
    const std::optional<ConnectionFault> found = connectionFault(entry);
    QCOMPARE(found.has_value(), !fault.isEmpty());
    if (found) {
        QVERIFY2(found->text.contains(fault), qPrintable(found->text));
        QVERIFY(found->field == members.value(key));
    }
}

void TestSelectConnection::editor_showsTheFieldsOfTheKind()
{
    const QStringList serverFields{"dbhostnameLineEdit", "dbusernameLineEdit",
                                   "dbpasswordLineEdit"};
    const QStringList tlsFields{"dbcacertLineEdit", "dbclientkeyLineEdit", "dbclientcertLineEdit"};
    ConnectionDialog editor(Settings::localConnection(), {});
    editor.show();
    auto *kind = child<QComboBox>(editor, "dbtypeComboBox");
    for (const QString dbtype : {"sqlite", "mysql", "postgresql"}) {
        kind->setCurrentIndex(kind->findData(dbtype));
        QCOMPARE(editor.entry().dbtype, dbtype);
        QVERIFY(child<QLineEdit>(editor, "databasenameLineEdit")->isVisible());
        QCOMPARE(child<QPushButton>(editor, "databasenameBrowsePushButton")->isVisible(),
                 dbtype == u"sqlite");
        for (const QString &name : serverFields)
            QCOMPARE(editor.findChild<QLineEdit *>(name)->isVisible(), dbtype != u"sqlite");
        for (const QString &name : tlsFields)
            QCOMPARE(editor.findChild<QLineEdit *>(name)->isVisible(), dbtype == u"mysql");
    }
    QCOMPARE(child<QLineEdit>(editor, "dbpasswordLineEdit")->echoMode(), QLineEdit::Password);
}

void TestSelectConnection::editor_dropsWhatTheKindDoesNotUse()
{
    ConnectionEntry entry;
    entry.name = QStringLiteral("A");
    entry.dbtype = QStringLiteral("mysql");
    entry.dbhostname = QStringLiteral("db");
    entry.dbusername = QStringLiteral("shop");
    entry.dbpassword = QStringLiteral("secret");
    entry.databasename = QStringLiteral("lavkor");
    entry.dbcacert = QStringLiteral("/ca.pem");
    ConnectionDialog editor(entry, {});
    QCOMPARE(editor.entry(), entry);
    auto *kind = child<QComboBox>(editor, "dbtypeComboBox");
    kind->setCurrentIndex(kind->findData(QStringLiteral("sqlite")));
    QCOMPARE(editor.entry(), sqliteEntry("A", "lavkor"));
}

void TestSelectConnection::check_tellsTheResultAndLeavesNothing_data()
{
    QTest::addColumn<QString>("dbtype");
    QTest::addColumn<QString>("place");
    QTest::addColumn<QString>("text");
    QTest::newRow("no file yet") << "sqlite"
                                 << "new.sqlite"
                                 << "будет создана при первом входе";
    QTest::newRow("no directory") << "sqlite"
                                  << "/nowhere/new.sqlite"
                                  << "нельзя создать";
    QTest::newRow("another file") << "sqlite"
                                  << "text.txt"
                                  << "Ошибка создания соединения";
    QTest::newRow("a database") << "sqlite"
                                << "lavkor.sqlite"
                                << "установлено";
    QTest::newRow("no server there") << "mysql"
                                     << "127.0.0.1:1"
                                     << "Ошибка создания соединения";
}

void TestSelectConnection::check_tellsTheResultAndLeavesNothing()
{
    QFETCH(QString, dbtype);
    QFETCH(QString, place);
    QFETCH(QString, text);
    QVERIFY(copyDatabase(Settings::localConnection()));
    QFile other(configDirPath() + QStringLiteral("/text.txt"));
    QVERIFY(other.open(QIODevice::WriteOnly) && other.write(QByteArray(5000, 'x')) == 5000);
    other.close();
    ConnectionEntry entry = sqliteEntry("A", place);
    if (dbtype != u"sqlite") {
        entry.dbhostname = place;
        entry.dbusername = QStringLiteral("shop");
        entry.databasename = QStringLiteral("lavkor");
    }
    entry.dbtype = dbtype;
    ConnectionDialog editor(entry, {});
    editor.show();
    m_boxes->answer(QStringLiteral("OK"));
    press(editor, "checkPushButton");
    QVERIFY2(m_boxes->lastText().contains(text), qPrintable(m_boxes->lastText()));
    QVERIFY(editor.isVisible());
    QVERIFY(!QFile::exists(configDirPath() + QStringLiteral("/new.sqlite")));
    QVERIFY(!isConnectionRegistered(QStringLiteral("connectioncheck")));
}

void TestSelectConnection::servers_areSetUpAtTheFirstLogin_data()
{
    addDialectRows();
}

void TestSelectConnection::servers_areSetUpAtTheFirstLogin()
{
    QFETCH(Dialect, dialect);
    ScratchDatabase database(dialect);
    const QString password = QStringLiteral("ёлка \\ ' %1");
    const auto askOnce = [&password](const QString &) {
        return std::optional(password);
    };
    QCOMPARE(runLogin(nullptr, {database.entry(), "admin", {}}, askOnce), LoginStep::Done);
    QCOMPARE(database.client("SELECT COUNT(*) FROM users WHERE password LIKE 'pbkdf2-sha256$%';"),
             QStringLiteral("1"));
    removeConnection(mainConnection);
    QCOMPARE(runLogin(nullptr, {database.entry(), "admin", password}, noPassword), LoginStep::Done);
    QVERIFY(!Session::instance().mainCurrencySymbol().isEmpty());
    removeConnection(mainConnection);
}

void TestSelectConnection::tablesWithoutTransactions_areNamed()
{
    ScratchDatabase database(Dialect::MySql);
    QVERIFY(makeDatabase(database.entry()));
    database.client("ALTER TABLE income ENGINE=MyISAM; ALTER TABLE codes ENGINE=MyISAM;");
    m_boxes->answer(QStringLiteral("OK"));
    QCOMPARE(runLogin(nullptr, {database.entry(), "admin", "secret"}, noPassword), LoginStep::Done);
    QVERIFY(m_boxes->lastText().contains(QStringLiteral("codes")));
    QVERIFY(m_boxes->lastText().contains(QStringLiteral("income")));
    removeConnection(mainConnection);
}

QTEST_MAIN(TestSelectConnection)
#include "tst_selectconnection.moc"
