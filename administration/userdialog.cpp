#include "administration/userdialog.h"

#include "app/messages.h"
#include "db/connections.h"
#include "db/session.h"
#include "login/passworddialog.h"
#include "ui_userdialog.h"
#include "widgets/dialogbuttons.h"
#include "widgets/dialogplace.h"
#include "widgets/plaintext.h"

#include <QHeaderView>
#include <QScrollBar>

namespace {

constexpr int bitRole = Qt::UserRole;

} // namespace

UserDialog::UserDialog(qulonglong id, QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::UserDialog>())
{
    m_ui->setupUi(this);
    setWindowTitle(id == 0 ? tr("Добавление пользователя") : tr("Пользователь № %1").arg(id));
    load(id);
    makeRoomForRights();
    m_ui->loginLineEdit->setFocus();
    keepDialogSize(this);
}

UserDialog::~UserDialog() = default;

qulonglong UserDialog::id() const
{
    return m_save.id();
}

void UserDialog::load(qulonglong id)
{
    UserRecord user{.rights = static_cast<int>(Right::ReceiveGoods)};
    if (id != 0) {
        const LoadState state = m_save.load(parentWidget(), id);
        if (state == LoadState::NotFound)
            showWarning(parentWidget(), tr("Пользователя с номером %1 больше нет.").arg(id));
        if (state != LoadState::Loaded)
            QMetaObject::invokeMethod(this, &QDialog::reject, Qt::QueuedConnection);
        user = m_save.seen();
    }
    showUser(user);
    m_initial = entered();
}

void UserDialog::showUser(const UserRecord &user)
{
    m_ui->loginLineEdit->setText(user.login);
    m_ui->nameLineEdit->setText(user.name);
    m_ui->phoneLineEdit->setText(user.phone);
    m_ui->emailLineEdit->setText(user.email);
    m_ui->notesPlainTextEdit->setPlainText(user.notes);
    m_ui->enabledCheckBox->setChecked(user.enabled);
    addRights(user.rights);
    showPasswordState();
}

void UserDialog::addRights(qlonglong rights)
{
    QTreeWidget *tree = m_ui->rightsTreeWidget;
    tree->clear();
    const QList<RightDescription> known = rightDescriptions();
    for (const RightDescription &description : known) {
        const qlonglong bit = static_cast<int>(description.right);
        auto *item = new QTreeWidgetItem(tree, {description.name, description.allows});
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
        item->setCheckState(0, (rights & bit) != 0 ? Qt::Checked : Qt::Unchecked);
        item->setData(0, bitRole, bit);
        item->setToolTip(1, plainToolTip(description.allows));
    }
    if (const qlonglong others = rights & ~knownRights(); others != 0) {
        auto *item = new QTreeWidgetItem(
            tree, {rightNames(others), tr("права других программ, остаются как есть")});
        item->setFlags(Qt::ItemIsSelectable);
        item->setCheckState(0, Qt::Checked);
    }
    tree->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    tree->setCurrentItem(tree->topLevelItem(0));
}

/// What a right allows is read whole where the screen has room for it.
void UserDialog::makeRoomForRights()
{
    ensurePolished();
    const QAbstractItemView *view = m_ui->rightsTreeWidget;
    const int columns = view->sizeHintForColumn(0) + view->sizeHintForColumn(1);
    const QMargins margins = layout()->contentsMargins();
    const int edges = margins.left() + margins.right() + 2 * view->frameWidth() +
                      view->verticalScrollBar()->sizeHint().width();
    resize(size().expandedTo({columns + edges, 0}));
}

void UserDialog::showPasswordState()
{
    m_ui->passwordStateLabel->setText(!m_password.isEmpty() ? tr("новый, запишется с остальным")
                                      : m_save.seen().hasPassword
                                          ? tr("задан")
                                          : tr("не задан, войти без него нельзя"));
}

qlonglong UserDialog::chosenRights() const
{
    qlonglong rights = m_save.seen().rights & ~knownRights();
    for (int row = 0; row < m_ui->rightsTreeWidget->topLevelItemCount(); ++row) {
        const QTreeWidgetItem *item = m_ui->rightsTreeWidget->topLevelItem(row);
        if (item->checkState(0) == Qt::Checked)
            rights |= item->data(0, bitRole).toLongLong();
    }
    return rights;
}

UserRecord UserDialog::entered() const
{
    return {.id = m_save.id(),
            .enabled = m_ui->enabledCheckBox->isChecked(),
            .login = m_ui->loginLineEdit->text(),
            .name = m_ui->nameLineEdit->text(),
            .phone = m_ui->phoneLineEdit->text(),
            .email = m_ui->emailLineEdit->text(),
            .notes = m_ui->notesPlainTextEdit->toPlainText(),
            .rights = chosenRights(),
            .hasPassword = m_save.seen().hasPassword};
}

void UserDialog::reject()
{
    const bool touched = !m_password.isEmpty() || !(entered() == m_initial);
    if (isVisible() && touched && !mayLoseInput(this))
        return;
    QDialog::reject();
}

void UserDialog::on_passwordPushButton_clicked()
{
    PasswordDialog dialog(m_ui->loginLineEdit->text().simplified(), this, PasswordPurpose::Another);
    if (dialog.exec() == Accepted)
        m_password = dialog.password();
    showPasswordState();
}

void UserDialog::on_acceptPushButton_clicked()
{
    const CommandScope command;
    const UserRecord user = entered();
    if (!check() || !askAboutSelf(user))
        return;
    for (bool again = true; again;) {
        setCursor(Qt::WaitCursor);
        const UserSaveState state = m_save.save(this, user, m_password);
        unsetCursor();
        again = false;
        switch (state) {
        case UserSaveState::Saved:
            return accept();
        case UserSaveState::LoginTaken:
            showInformation(this, tr("Пользователь с логином «%1» уже есть. Пожалуйста, введите "
                                     "другой логин.")
                                      .arg(user.login.simplified()));
            m_ui->loginLineEdit->setFocus();
            m_ui->loginLineEdit->selectAll();
            break;
        case UserSaveState::LastAdministrator:
            showWarning(this, tr("Это последний пользователь, который может войти и управлять "
                                 "пользователями. Его нельзя отключить или лишить права "
                                 "«%1»: дайте это право и пароль ещё кому-нибудь. Не записано.")
                                  .arg(rightName(Right::ManageUsers)));
            break;
        case UserSaveState::Changed:
            again = askToReplace();
            break;
        case UserSaveState::Gone:
            showWarning(this, tr("Этого пользователя тем временем удалили. Не записано."));
            break;
        case UserSaveState::Failed:
            break;
        }
    }
}

void UserDialog::on_cancelPushButton_clicked()
{
    reject();
}

bool UserDialog::check()
{
    if (!m_ui->loginLineEdit->text().simplified().isEmpty())
        return true;
    showInformation(this, tr("Пожалуйста, введите логин."));
    m_ui->loginLineEdit->setFocus();
    return false;
}

/// Whoever shuts himself out by mistake is told before.
bool UserDialog::askAboutSelf(const UserRecord &user)
{
    if (user.id == 0 || user.id != Session::instance().user().id)
        return true;
    const bool couldManage = suffices(m_save.seen().rights, Command::ManageUsers);
    QString text;
    if (!user.enabled && m_save.seen().enabled)
        text = tr("Вы отключаете собственную учётную запись и больше не сможете работать. "
                  "Продолжить?");
    else if (couldManage && !suffices(user.rights, Command::ManageUsers))
        text = tr("Вы лишаете себя права «%1» и не сможете вернуть его сами. Продолжить?")
                   .arg(rightName(Right::ManageUsers));
    return text.isEmpty() || askQuestion(this, text, {tr("Продолжить"), tr("Отмена")}, 1, 1) == 0;
}

/// Shows what another station has written meanwhile.
bool UserDialog::askToReplace()
{
    const bool replace =
        askQuestion(this, {.text = tr("Пользователя тем временем изменили на другом рабочем месте. "
                                      "Заменить?"),
                           .note = tr("Там изменили:") + u'\n' +
                                   UserSave::changes(m_save.seen(), m_save.now()).join(u'\n'),
                           .buttons = {tr("Заменить"), tr("Отмена")},
                           .defaultButton = 1,
                           .escapeButton = 1}) == 0;
    if (replace)
        m_save.acknowledge();
    return replace;
}
