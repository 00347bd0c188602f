#include "administration/userstore.h"

#include "app/messages.h"
#include "db/auditlog.h"
#include "db/passwords.h"
#include "db/session.h"
#include "db/sqltext.h"

#include <algorithm>
#include <utility>

namespace {

const QString userColumns =
    QStringLiteral("SELECT id, enabled, login, name, phone1, email, notes, rights, password FROM "
                   "users");

UserRecord userOf(const SqlRow &row)
{
    return {.id = row.at(0).toULongLong(),
            .enabled = row.at(1).toInt() != 0,
            .login = row.at(2).toString(),
            .name = row.at(3).toString(),
            .phone = row.at(4).toString(),
            .email = row.at(5).toString(),
            .notes = row.at(6).toString(),
            .rights = row.at(7).toLongLong(),
            .hasPassword = !row.at(8).toString().isEmpty()};
}

/// The user as he can be stored.
UserRecord tidy(UserRecord user)
{
    for (QString *text : {&user.login, &user.name, &user.phone, &user.email})
        *text = sql::storable(*text).simplified();
    user.notes = sql::storable(user.notes).trimmed();
    return user;
}

QString stateText(const UserRecord &user)
{
    return user.enabled ? UserSave::tr("включён") : UserSave::tr("отключён");
}

/// Whether a user can log in and manage users.
bool canManage(const UserRecord &user)
{
    return user.enabled && !user.login.isEmpty() && suffices(user.rights, Command::ManageUsers);
}

/// Through a placeholder: a statement that fails comes into the log.
bool writePassword(qulonglong id, const QString &hash)
{
    QSqlQuery query;
    return QueryExecPrepared(
        nullptr, "UPDATE users SET password=:password WHERE id=" + sql::quotedId(id) + u';', query,
        {{":password", hash}});
}

} // namespace

qlonglong knownRights()
{
    qlonglong known = 0;
    const QList<RightDescription> rights = rightDescriptions();
    for (const RightDescription &description : rights)
        known |= static_cast<int>(description.right);
    return known;
}

LoadState UserSave::load(QWidget *parent, qulonglong id)
{
    QList<SqlRow> rows;
    if (!QueryRows(parent, userColumns + " WHERE id=" + sql::quotedId(id) + u';', rows))
        return LoadState::Failed;
    if (rows.isEmpty())
        return LoadState::NotFound;
    m_seen = userOf(rows.first());
    return LoadState::Loaded;
}

qulonglong UserSave::id() const
{
    return m_seen.id;
}

const UserRecord &UserSave::seen() const
{
    return m_seen;
}

const UserRecord &UserSave::now() const
{
    return m_now;
}

void UserSave::acknowledge()
{
    m_seen = m_now;
}

UserSaveState UserSave::save(QWidget *parent, const UserRecord &user, const QString &password)
{
    UserRecord wanted = tidy(user);
    wanted.id = m_seen.id;
    // Outside of the transaction: it takes a while. A repeated save finds its own hash again.
    if (password.isEmpty())
        m_hash.clear();
    else if (!m_inDoubt || !verifyPassword(password, m_hash))
        m_hash = hashPassword(password);
    const TransactionResult result = runInTransaction(
        parent, mainConnection, [&] { return write(wanted); }, {.inDoubt = &m_inDoubt});
    if (result.state == TransactionState::Refused) {
        if (m_state == UserSaveState::Failed)
            showWarning(parent, m_refusal);
        return m_state;
    }
    if (!result.isDone()) {
        tell(parent, result);
        return UserSaveState::Failed;
    }
    note(m_seen, m_seen.id == 0);
    m_seen = m_written;
    SessionUser self = Session::instance().user();
    if (self.id == m_seen.id) {
        self.login = m_seen.login;
        self.name = m_seen.name;
        self.rights = m_seen.enabled ? static_cast<int>(m_seen.rights) : 0;
        Session::instance().setUser(self);
    }
    return UserSaveState::Saved;
}

/// All users are read under a lock: two administrators could otherwise each find the other one
/// left.
TransactionStep UserSave::write(const UserRecord &wanted)
{
    QList<SqlRow> rows;
    if (!readLockedTable("users", userColumns + " ORDER BY id", rows))
        return TransactionStep::Fail;
    const QList<Stored> users = storedOf(rows);
    const auto self = std::find_if(users.begin(), users.end(), [](const Stored &one) {
        return one.user.id == Session::instance().user().id;
    });
    const RightCheck check =
        rightOf(self != users.end() && self->user.enabled,
                self == users.end() ? 0 : self->user.rights, Command::ManageUsers);
    if (check.state != RightCheck::State::Held) {
        m_refusal = check.refusal;
        return refuse(UserSaveState::Failed);
    }
    m_written = wanted;
    m_written.hasPassword = wanted.hasPassword || !m_hash.isEmpty();
    if (m_inDoubt) { // about a former try, whose COMMIT got no answer
        const auto own = std::find_if(users.begin(), users.end(), [&](const Stored &one) {
            m_written.id = wanted.id == 0 ? one.user.id : wanted.id;
            return one.user == m_written && (m_hash.isEmpty() || one.password == m_hash);
        });
        if (own != users.end())
            return TransactionStep::Done;
        m_written.id = wanted.id;
    }
    m_inDoubt = false;
    // Users of old who share a login can still be disabled and changed.
    const bool isClaimed = wanted.login != m_seen.login || (wanted.enabled && !m_seen.enabled);
    const bool taken = isClaimed && std::any_of(users.begin(), users.end(), [&](const Stored &one) {
                           return one.user.id != wanted.id &&
                                  one.user.login.compare(wanted.login, Qt::CaseInsensitive) == 0;
                       });
    return taken ? refuse(UserSaveState::LoginTaken) : writeRow(users, wanted);
}

TransactionStep UserSave::writeRow(const QList<Stored> &users, const UserRecord &wanted)
{
    if (wanted.id != 0) {
        const auto stored = std::find_if(users.begin(), users.end(), [&](const Stored &one) {
            return one.user.id == wanted.id;
        });
        if (stored == users.end())
            return refuse(UserSaveState::Gone);
        m_now = stored->user;
        m_written.rights = (m_now.rights & ~knownRights()) | (wanted.rights & knownRights());
        m_written.hasPassword = m_now.hasPassword || !m_hash.isEmpty();
        if (!changes(m_seen, m_now).isEmpty() && !changes(m_now, m_written).isEmpty())
            return refuse(UserSaveState::Changed);
        if (!leavesAdministrator(users, m_written))
            return refuse(UserSaveState::LastAdministrator);
    }
    const QList<std::pair<QString, QString>> values = {
        {"enabled", sql::integer(m_written.enabled ? 1 : 0)},
        {"login", sql::text(m_written.login)},
        {"name", sql::text(m_written.name)},
        {"phone1", sql::text(m_written.phone)},
        {"email", sql::text(m_written.email)},
        {"notes", sql::text(m_written.notes)},
        {"rights", sql::integer(m_written.rights)}};
    QStringList columns;
    QStringList texts;
    QStringList assignments;
    for (const auto &[column, text] : values) {
        columns += column;
        texts += text;
        assignments += column + u'=' + text;
    }
    QSqlQuery query;
    if (!QueryExec(nullptr,
                   wanted.id == 0 ? "INSERT INTO users(" + columns.join(u',') + ",ctime) VALUES(" +
                                        texts.join(u',') + u',' + sql::now() + ");"
                                  : "UPDATE users SET " + assignments.join(u',') +
                                        " WHERE id=" + sql::quotedId(wanted.id) + u';',
                   query))
        return TransactionStep::Fail;
    if (wanted.id == 0)
        m_written.id = query.lastInsertId().toULongLong();
    return m_hash.isEmpty() || writePassword(m_written.id, m_hash) ? TransactionStep::Commit
                                                                   : TransactionStep::Fail;
}

QList<UserSave::Stored> UserSave::storedOf(const QList<SqlRow> &rows)
{
    QList<Stored> users;
    for (const SqlRow &row : rows)
        users += {userOf(row), row.at(8).toString()};
    return users;
}

/// Those who can log in with a password; where nobody has one, those who are to get one.
int UserSave::administrators(const QList<Stored> &users)
{
    const auto withPassword = std::count_if(users.begin(), users.end(), [](const Stored &one) {
        return canManage(one.user) && isPasswordHash(one.password);
    });
    return static_cast<int>(withPassword);
}

bool UserSave::leavesAdministrator(const QList<Stored> &before, const UserRecord &wanted) const
{
    QList<Stored> after = before;
    for (Stored &one : after) {
        if (one.user.id != wanted.id)
            continue;
        one.user = wanted;
        if (!m_hash.isEmpty())
            one.password = m_hash;
    }
    if (administrators(before) > 0)
        return administrators(after) > 0;
    return std::any_of(after.begin(), after.end(),
                       [](const Stored &one) { return canManage(one.user); });
}

TransactionStep UserSave::refuse(UserSaveState state)
{
    m_state = state;
    return TransactionStep::Refuse;
}

QStringList UserSave::changes(const UserRecord &before, const UserRecord &after)
{
    QStringList parts = {noted(tr("логин"), before.login, after.login),
                         noted(tr("имя"), before.name, after.name),
                         noted(tr("телефон"), before.phone, after.phone),
                         noted(tr("почта"), before.email, after.email),
                         noted(tr("примечание"), before.notes, after.notes),
                         noted(tr("вход"), stateText(before), stateText(after)),
                         noted(tr("права"), rightNames(before.rights), rightNames(after.rights))};
    parts.removeAll(QString());
    return parts;
}

void UserSave::note(const UserRecord &before, bool isNew) const
{
    QStringList parts = changes(before, m_written);
    if (!m_hash.isEmpty())
        parts += notedSecret(tr("пароль"));
    const QString who =
        tr("пользователь № %1 «%2»").arg(QString::number(m_written.id), m_written.login);
    if (isNew)
        noteAction(tr("добавлен ") + who + QStringLiteral(": ") + parts.join(QStringLiteral(", ")));
    else if (!parts.isEmpty())
        noteAction(tr("изменён ") + who + QStringLiteral(": ") + parts.join(QStringLiteral(", ")));
}

void UserSave::tell(QWidget *parent, const TransactionResult &result) const
{
    if (result.state == TransactionState::Unknown)
        showFailure(parent,
                    tr("Связь с базой данных прервалась во время записи. Неизвестно, записан ли "
                       "пользователь: сохраните его ещё раз, дважды он не появится."),
                    result.failure.words());
    else if (!result.givenUp)
        showDatabaseFailure(parent, result.failure, tr("Пользователь не записан."));
}

OwnPasswordState changeOwnPassword(QWidget *parent, const QString &present, const QString &password)
{
    const SessionUser &self = Session::instance().user();
    const QString select =
        "SELECT password FROM users WHERE enabled<>0 AND id=" + sql::quotedId(self.id);
    QList<SqlRow> rows;
    if (!QueryRows(parent, select + u';', rows))
        return OwnPasswordState::Failed;
    const QString stored = rows.isEmpty() ? QString() : rows.first().first().toString();
    if (stored.isEmpty() || !verifyPassword(present, stored))
        return OwnPasswordState::Wrong;
    const QString hash = hashPassword(password);
    bool inDoubt = false;
    const TransactionResult result = runInTransaction(
        parent, mainConnection,
        [&] {
            if (!readLockedRows("users", select, rows))
                return TransactionStep::Fail;
            const QString now = rows.isEmpty() ? QString() : rows.first().first().toString();
            if (now == hash)
                return TransactionStep::Done;
            inDoubt = false;
            if (now != stored) // given a new one by an administrator, or disabled
                return TransactionStep::Refuse;
            return writePassword(self.id, hash) ? TransactionStep::Commit : TransactionStep::Fail;
        },
        {.inDoubt = &inDoubt});
    if (result.isDone()) {
        noteAction(notedSecret(UserSave::tr("собственный пароль")));
        return OwnPasswordState::Changed;
    }
    if (result.state == TransactionState::Refused)
        return OwnPasswordState::Wrong;
    if (!result.givenUp)
        showDatabaseFailure(parent, result.failure, UserSave::tr("Пароль не изменён."));
    return OwnPasswordState::Failed;
}
