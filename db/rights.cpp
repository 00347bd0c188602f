#include "db/rights.h"

#include "app/messages.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"

#include <QCoreApplication>
#include <QStringList>

#include <algorithm>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("Rights", text);
}

CommandRight entryOf(Command command)
{
    const QList<CommandRight> all = commandRights();
    const auto entry = std::find_if(all.begin(), all.end(), [command](const CommandRight &one) {
        return one.command == command;
    });
    Q_ASSERT(entry != all.end());
    return *entry;
}

} // namespace

// Whoever receives goods sets the prices of his lines: these reach the catalogue by the posting, so
// that both and all that leads there is one right.
QList<CommandRight> commandRights()
{
    return {
        {Command::EnterLines, Right::ReceiveGoods,
         tr("У Вас недостаточно прав, чтобы вносить товары в приход.")},
        {Command::DeleteLines, Right::ReceiveGoods,
         tr("У Вас недостаточно прав, чтобы удалять строки прихода.")},
        {Command::PostReceipt, Right::ReceiveGoods,
         tr("У Вас недостаточно прав, чтобы проводить приход.")},
        {Command::UpdateCosts, Right::ReceiveGoods,
         tr("У Вас недостаточно прав, чтобы обновлять цены по приходу.")},
        {Command::ChangePrices, Right::ChangePrices,
         tr("У Вас недостаточно прав, чтобы менять цены наименований.")},
        {Command::EditCurrencies, Right::ChangePrices,
         tr("У Вас недостаточно прав, чтобы менять валюты и их курсы.")},
        {Command::EditProducts, Right::EditProducts,
         tr("У Вас недостаточно прав, чтобы менять карточки наименований.")},
        {Command::EditDictionaries, Right::EditProducts,
         tr("У Вас недостаточно прав, чтобы менять справочники.")},
        {Command::AuditStock, Right::AuditStock, tr("У Вас недостаточно прав для проверки.")},
        {Command::ChangeOptions, Right::ChangeSettings,
         tr("У Вас недостаточно прав, чтобы менять общие настройки магазина.")},
        {Command::ManageUsers, Right::ManageUsers,
         tr("У Вас недостаточно прав, чтобы управлять пользователями.")},
    };
}

QList<RightDescription> rightDescriptions()
{
    return {
        {Right::ReceiveGoods, tr("Приём товара"),
         tr("вносить товары в приход с ценами, удалять строки, проводить приход")},
        {Right::EditProducts, tr("Карточки и справочники"),
         tr("наименования, штрих-коды, артикулы, группы и другие справочники")},
        {Right::ChangePrices, tr("Изменение цен"),
         tr("менять цены вне прихода, валюты и их курсы")},
        {Right::AuditStock, tr("Проверка остатков"), tr("отмечать остаток как проверенный")},
        {Right::ChangeSettings, tr("Общие настройки"), tr("менять общие настройки магазина")},
        {Right::ManageUsers, tr("Пользователи"),
         tr("добавлять и отключать пользователей, давать права и пароли")},
        {Right::Sell, tr("Продажа"), tr("в программе продаж: продавать товар")},
        {Right::ManageOrders, tr("Заказы"), tr("в программе заказов: вести заказы")},
        {Right::OwnOrdersOnly, tr("Только свои заказы"),
         tr("ограничение в программе заказов: чужие заказы не видны")},
        {Right::ViewReports, tr("Отчёты"), tr("в других программах Лавкора: смотреть отчёты")},
    };
}

QString rightName(Right right)
{
    return rightNames(static_cast<int>(right));
}

QString rightNames(qlonglong rights)
{
    QStringList names;
    const QList<RightDescription> known = rightDescriptions();
    for (const RightDescription &description : known) {
        const qlonglong bit = static_cast<int>(description.right);
        if ((rights & bit) != 0)
            names += description.name;
        rights &= ~bit;
    }
    if (rights != 0)
        names += tr("прочие (%1)").arg(rights);
    return names.join(QStringLiteral(", "));
}

bool suffices(qlonglong rights, Command command)
{
    return (rights & static_cast<int>(entryOf(command).right)) != 0;
}

QString refusalOf(Command command)
{
    const CommandRight entry = entryOf(command);
    // That one names what is missing by itself.
    if (command == Command::AuditStock)
        return entry.refusal;
    return entry.refusal + u' ' +
           tr("Нужно право «%1», его даёт администратор.").arg(rightName(entry.right));
}

RightCheck rightOf(bool enabled, qlonglong rights, Command command)
{
    if (!enabled)
        return {RightCheck::State::Missing,
                tr("Ваша учётная запись отключена администратором. Ничего не записано.")};
    if (!suffices(rights, command))
        return {RightCheck::State::Missing, refusalOf(command)};
    return {RightCheck::State::Held};
}

RightCheck checkRight(Command command)
{
    SessionUser user = Session::instance().user();
    QList<SqlRow> rows;
    if (!QueryRows(nullptr,
                   "SELECT rights, enabled FROM users WHERE id=" + sql::quotedId(user.id) + u';',
                   rows))
        return {};
    const bool enabled = !rows.isEmpty() && rows.first().at(1).toInt() != 0;
    user.rights = enabled ? rows.first().at(0).toInt() : 0;
    Session::instance().setUser(user);
    return rightOf(enabled, user.rights, command);
}

bool mayDo(QWidget *parent, Command command)
{
    if (!ensureConnectionOpen(parent, mainConnection))
        return false;
    const RightCheck check = checkRight(command);
    if (check.state == RightCheck::State::Missing)
        showWarning(parent, check.refusal);
    else if (check.state == RightCheck::State::Unknown)
        showDatabaseFailure(parent, lastFailure(), tr("Права не прочитаны."));
    return check.state == RightCheck::State::Held;
}
