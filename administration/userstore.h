#pragma once

#include <QCoreApplication>
#include <QList>
#include <QString>

#include "db/query.h"
#include "db/rowstate.h"
#include "db/transaction.h"

class QWidget;

/// The users of the database, as those who may see to it. Passwords only ever go in: what is stored
/// of them is not handed out.

/// A row of `users`, as far as it is edited here.
struct UserRecord
{
    qulonglong id = 0;
    bool enabled = true;
    QString login = {};
    QString name = {};
    QString phone = {};
    QString email = {};
    QString notes = {};
    qlonglong rights = 0; ///< with the bits that have no name here
    bool hasPassword = false;

    bool operator==(const UserRecord &) const = default;
};

/// The bits of the rights that have a name here.
qlonglong knownRights();

enum class UserSaveState {
    Saved,
    LoginTaken,        ///< another user has this login
    LastAdministrator, ///< nobody could manage users any more
    Changed,           ///< another station has written the user meanwhile: now()
    Gone,
    Failed, ///< told; saving again is safe and never adds the user twice
};

/// The writing of a user. Lives as long as its dialog, so that a repeated save knows what the
/// former one has done. Who may do it and whether an administrator is left is looked at under the
/// lock in which it is written.
class UserSave
{
    Q_DECLARE_TR_FUNCTIONS(UserSave)

public:
    LoadState load(QWidget *parent, qulonglong id);

    /// 0 for a user that is not saved yet.
    qulonglong id() const;

    /// The user as he has been known up to now, and after Changed as he is.
    const UserRecord &seen() const;
    const UserRecord &now() const;

    /// After Changed: he is known as he is now, the next save replaces him.
    void acknowledge();

    /// Writes the user and, when there is one, his new password. Bits of the rights without a name
    /// stay as they are stored.
    UserSaveState save(QWidget *parent, const UserRecord &user, const QString &password = {});

    /// What has changed between two states, a line each, for people and for the log.
    static QStringList changes(const UserRecord &before, const UserRecord &after);

private:
    struct Stored
    {
        UserRecord user;
        QString password;
    };

    static QList<Stored> storedOf(const QList<SqlRow> &rows);
    static int administrators(const QList<Stored> &users);
    TransactionStep write(const UserRecord &wanted);
    TransactionStep writeRow(const QList<Stored> &users, const UserRecord &wanted);
    bool leavesAdministrator(const QList<Stored> &before, const UserRecord &wanted) const;
    TransactionStep refuse(UserSaveState state);
    void note(const UserRecord &before, bool isNew) const;
    void tell(QWidget *parent, const TransactionResult &result) const;

    UserRecord m_seen;
    UserRecord m_now;
    UserRecord m_written; ///< by the last try
    QString m_hash;       ///< of the new password
    QString m_refusal;    ///< why the one who saves may not do it
    UserSaveState m_state = UserSaveState::Failed;
    bool m_inDoubt = false;
};

enum class OwnPasswordState {
    Changed,
    Wrong,  ///< the present password is another one
    Failed, ///< told
};

/// Gives the user of the session a new password.
OwnPasswordState changeOwnPassword(QWidget *parent, const QString &present,
                                   const QString &password);
