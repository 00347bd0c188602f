#pragma once

#include <QList>
#include <QString>

class QWidget;

/// The bits of users.rights. Other programs of the suite use them too, and may know more of them.
enum class Right : int {
    Sell = 1,
    ReceiveGoods = 2,
    EditProducts = 4,
    ChangePrices = 8,
    ManageOrders = 16,
    AuditStock = 32,
    ViewReports = 64,
    OwnOrdersOnly = 128, ///< a restriction; the administrator does not carry it
    ManageUsers = 256,
    ChangeSettings = 512,
};

/// What not every user may do. Whoever writes something of the kind asks for it where it is
/// written: with TransactionOptions::needs, or with mayDo().
enum class Command {
    EnterLines,
    DeleteLines,
    PostReceipt,
    UpdateCosts, ///< writes the prices of the working list to the catalogue without a posting
    ChangePrices,
    EditCurrencies,
    EditProducts, ///< with all that hangs on a product
    EditDictionaries,
    AuditStock,
    ChangeOptions,
    ManageUsers,
};

/// A command and the right that it needs.
struct CommandRight
{
    Command command;
    Right right;
    QString refusal; ///< that the rights do not suffice for it
};

/// All commands that need a right.
QList<CommandRight> commandRights();

/// A right as it is offered to whoever gives rights.
struct RightDescription
{
    Right right;
    QString name;
    QString allows;
};

/// All rights that are known here.
QList<RightDescription> rightDescriptions();

/// The name of a right.
QString rightName(Right right);

/// The names of the rights in users.rights, parted by commas; bits without a name as a number.
QString rightNames(qlonglong rights);

/// Whether bits of users.rights hold what a command needs.
bool suffices(qlonglong rights, Command command);

/// The refusal of a command, with the right that is missing.
QString refusalOf(Command command);

/// Whether the user of the session may do it by what the database says of him now.
struct RightCheck
{
    enum class State {
        Held,
        Missing,
        Unknown, ///< it could not be read; see lastFailure()
    };
    State state = State::Unknown;
    QString refusal = {}; ///< of Missing
};

/// What the row of a user in `users` says.
RightCheck rightOf(bool enabled, qlonglong rights, Command command);

/// Reads the user's row anew, so that what an administrator has changed holds at once, and keeps
/// its rights in the session. No box is shown.
RightCheck checkRight(Command command);

/// The same; what stands in the way is told over the parent.
bool mayDo(QWidget *parent, Command command);
