#include "login/selectconnectiondialog.h"

#include "app/messages.h"
#include "app/settings.h"
#include "login/connectioncheck.h"
#include "login/connectiondialog.h"
#include "login/passworddialog.h"
#include "login/userpasswordsdialog.h"
#include "ui_selectconnectiondialog.h"

namespace {

constexpr int nameRole = Qt::UserRole;

void addItem(QListWidget *list, const QString &text, const QString &name)
{
    auto *item = new QListWidgetItem(text, list);
    item->setData(nameRole, name);
}

QString currentName(const QListWidget *list)
{
    const QListWidgetItem *item = list->currentItem();
    return item ? item->data(nameRole).toString() : QString();
}

/// Selects the item of that name, otherwise the first.
void selectName(QListWidget *list, const QString &name)
{
    list->setCurrentRow(list->count() > 0 ? 0 : -1);
    for (int row = 0; row < list->count(); ++row) {
        if (list->item(row)->data(nameRole).toString() == name)
            list->setCurrentRow(row);
    }
}

QStringList namesOf(const QList<ConnectionEntry> &connections)
{
    QStringList names;
    for (const ConnectionEntry &entry : connections)
        names += entry.name;
    return names;
}

} // namespace

SelectConnectionDialog::SelectConnectionDialog(QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::SelectConnectionDialog>())
{
    m_ui->setupUi(this);
    const Settings &settings = Settings::instance();
    fillLists(settings.value(SettingsKey::Connection),
              settings.value(SettingsKey::FriendConnection));
    const QString login = settings.value(SettingsKey::Login);
    m_ui->loginLineEdit->setText(login.isEmpty() ? QStringLiteral("admin") : login);
    m_ui->passwordLineEdit->setFocus();
}

SelectConnectionDialog::~SelectConnectionDialog() = default;

QString SelectConnectionDialog::connectionName() const
{
    return currentName(m_ui->connectionListWidget);
}

QString SelectConnectionDialog::friendConnectionName() const
{
    return currentName(m_ui->friendConnectionListWidget);
}

void SelectConnectionDialog::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    if (m_shown)
        return;
    m_shown = true;
    if (Settings::instance().connections().isEmpty())
        QMetaObject::invokeMethod(
            this, [this] { askForFirstConnection(); }, Qt::QueuedConnection);
}

void SelectConnectionDialog::on_connectionListWidget_currentRowChanged(int row)
{
    for (QPushButton *button :
         {m_ui->editPushButton, m_ui->deletePushButton, m_ui->checkPushButton})
        button->setEnabled(row >= 0);
}

void SelectConnectionDialog::on_addPushButton_clicked()
{
    addConnection();
}

void SelectConnectionDialog::on_editPushButton_clicked()
{
    QList<ConnectionEntry> connections = Settings::instance().connections();
    const QString oldName = connectionName();
    QStringList otherNames = namesOf(connections);
    const qsizetype index = otherNames.indexOf(oldName);
    if (index < 0)
        return;
    otherNames.removeAt(index);
    ConnectionDialog dialog(connections.at(index), otherNames, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    connections[index] = dialog.entry();
    const QString newName = connections.at(index).name;
    const QString friendName = friendConnectionName();
    Settings::instance().setConnections(connections);
    for (const SettingsKey key : {SettingsKey::Connection, SettingsKey::FriendConnection}) {
        if (Settings::instance().value(key) == oldName)
            Settings::instance().setValue(key, newName);
    }
    fillLists(newName, friendName == oldName ? newName : friendName);
    keepSettings();
}

void SelectConnectionDialog::on_deletePushButton_clicked()
{
    const QString name = connectionName();
    const QString question =
        tr("Удалить подключение «%1» из списка? Сама база данных останется.").arg(name);
    if (askQuestion(this, question, {tr("Удалить"), tr("Отмена")}, 1, 1) != 0)
        return;
    QList<ConnectionEntry> connections = Settings::instance().connections();
    connections.removeIf([&name](const ConnectionEntry &entry) { return entry.name == name; });
    const QString friendName = friendConnectionName();
    Settings::instance().setConnections(connections);
    fillLists({}, friendName == name ? QString() : friendName);
    keepSettings();
}

void SelectConnectionDialog::on_checkPushButton_clicked()
{
    const ConnectionEntry *entry = Settings::instance().findConnection(connectionName());
    if (!entry)
        return;
    setCursor(Qt::WaitCursor);
    checkConnection(this, *entry);
    unsetCursor();
}

/// What was entered; nothing, told, when something is missing.
std::optional<LoginRequest> SelectConnectionDialog::request()
{
    const ConnectionEntry *entry = Settings::instance().findConnection(connectionName());
    if (!entry) {
        askForFirstConnection();
        return std::nullopt;
    }
    const QString login = m_ui->loginLineEdit->text().trimmed();
    if (login.isEmpty()) {
        showWarning(this, tr("Введите имя пользователя."));
        m_ui->loginLineEdit->setFocus();
        return std::nullopt;
    }
    return LoginRequest{*entry, login, m_ui->passwordLineEdit->text()};
}

NewPasswordQuestion SelectConnectionDialog::passwordQuestion()
{
    return [this](const QString &login) -> std::optional<QString> {
        PasswordDialog dialog(login, this);
        return dialog.exec() == QDialog::Accepted ? std::optional(dialog.password()) : std::nullopt;
    };
}

void SelectConnectionDialog::on_passwordsPushButton_clicked()
{
    const std::optional<LoginRequest> entered = request();
    if (!entered)
        return;
    setCursor(Qt::WaitCursor);
    givePasswords(this, *entered, passwordQuestion(), [this] {
        unsetCursor();
        UserPasswordsDialog(passwordQuestion(), this).exec();
    });
    unsetCursor();
    focusPassword();
}

void SelectConnectionDialog::on_okPushButton_clicked()
{
    const std::optional<LoginRequest> entered = request();
    if (!entered)
        return;
    if (friendConnectionName() == entered->connection.name) {
        showWarning(this, tr("Справочная база не может быть той же, что и основная. Выберите "
                             "другую или «нет»."));
        m_ui->friendConnectionListWidget->setFocus();
        return;
    }
    setCursor(Qt::WaitCursor);
    const LoginStep step = runLogin(this, *entered, passwordQuestion());
    unsetCursor();
    if (step != LoginStep::Done) {
        if (step == LoginStep::LogIn)
            focusPassword();
        return;
    }
    Settings &settings = Settings::instance();
    settings.setValue(SettingsKey::Connection, connectionName());
    settings.setValue(SettingsKey::FriendConnection, friendConnectionName());
    settings.setValue(SettingsKey::Login, entered->login);
    keepSettings();
    accept();
}

void SelectConnectionDialog::on_cancelPushButton_clicked()
{
    reject();
}

void SelectConnectionDialog::fillLists(const QString &connection, const QString &friendConnection)
{
    m_ui->connectionListWidget->clear();
    m_ui->friendConnectionListWidget->clear();
    addItem(m_ui->friendConnectionListWidget, tr("нет"), {});
    for (const ConnectionEntry &entry : Settings::instance().connections()) {
        addItem(m_ui->connectionListWidget, entry.name, entry.name);
        addItem(m_ui->friendConnectionListWidget, entry.name, entry.name);
    }
    selectName(m_ui->connectionListWidget, connection);
    selectName(m_ui->friendConnectionListWidget, friendConnection);
    on_connectionListWidget_currentRowChanged(m_ui->connectionListWidget->currentRow());
}

void SelectConnectionDialog::addConnection()
{
    QList<ConnectionEntry> connections = Settings::instance().connections();
    // The first one starts as the ready local connection.
    ConnectionEntry entry;
    if (connections.isEmpty())
        entry = Settings::localConnection();
    else
        entry.dbtype = QStringLiteral("mysql");
    ConnectionDialog dialog(entry, namesOf(connections), this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    connections += dialog.entry();
    const QString friendName = friendConnectionName();
    Settings::instance().setConnections(connections);
    fillLists(connections.last().name, friendName);
    keepSettings();
}

void SelectConnectionDialog::askForFirstConnection()
{
    showWarning(this, tr("Ошибка 18529: пустой список подключений в файле настроек."));
    addConnection();
    focusPassword();
}

void SelectConnectionDialog::keepSettings()
{
    QString error;
    if (!Settings::instance().save(&error))
        showWarning(this, error);
}

void SelectConnectionDialog::focusPassword()
{
    m_ui->passwordLineEdit->setFocus();
    m_ui->passwordLineEdit->selectAll();
}
