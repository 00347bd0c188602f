#include "db/schemadefaults.h"

#include "db/sqltext.h"

namespace {

const QString insert = "INSERT OR IGNORE";

constexpr int administratorRights = 895; ///< all but the restriction to one's own orders

struct CurrencyRow
{
    int id;
    const char *code;
    const char *symbol;
};

constexpr CurrencyRow currencies[] = {{1, "RUB", "₽"}, {2, "EUR", "€"}, {3, "USD", "$"}};

struct LocaleRow
{
    int id;
    const char *name;
    const char *description;
};

constexpr LocaleRow locales[] = {
    {1, "en", "Английский"}, {2, "es", "Испанский"}, {3, "pt", "Португальский"}};

/// Ids from 1 on.
constexpr const char *expenseTypes[] = {"Аренда помещения",
                                        "Бухгалтерские услуги",
                                        "Амортизация",
                                        "Обслуживание оборудования",
                                        "Интернет",
                                        "Офисные расходы",
                                        "Электроэнергия",
                                        "Налоги",
                                        "Прочее"};

struct UnitRow
{
    const char *name;
    int decimals;
};

/// Ids from 1 on.
constexpr UnitRow units[] = {{"шт", 0},    {"кг", 3},   {"г", 0},     {"л", 3},
                             {"м", 2},     {"кв.м", 2}, {"куб.м", 3}, {"упак", 0},
                             {"компл", 0}, {"пара", 0}, {"рулон", 0}};

struct OrderStateRow
{
    int id;
    const char *name;
    const char *color;
    const char *clientMessage;
};

/// The first id of the states that end an order; the filters part there.
constexpr int firstFinishedState = 100;

constexpr OrderStateRow orderStates[] = {
    {10, "Новый", "#ffffff", ""},
    {20, "Ожидает подтверждения", "#ffe1c8", ""},
    {30, "В работе", "#ffff78", "Ваш заказ принят в работу."},
    {40, "Ожидает поставки", "#ffd296", ""},
    {50, "Комплектуется", "#c8c8ff", ""},
    {60, "Готов", "#c8ffc8", "Ваш заказ готов к выдаче."},
    {70, "Отправлен", "#ffdcff", "Ваш заказ отправлен."},
    {firstFinishedState, "Выдан", "#b4ffff", ""},
    {110, "Выдан и инкассирован", "#d2f0f0", ""},
    {120, "Отклонен", "#787878", "Ваш заказ отклонен."},
};

struct OptionRow
{
    int id;
    const char *name;
    const char *localName;
    const char *value;
    const char *description = nullptr;
};

constexpr char companyDetails[] = "Реквизиты компании";

constexpr OptionRow options[] = {
    {1, "ORGNAME", "Название организации", ""},
    {2, "INN", "ИНН", ""},
    {3, "OGRN", "ОГРН", ""},
    {4, "ADDRESS", "Адрес", ""},
    {5, "PHONE", "Телефон", ""},
    {6, "TAXATION_SYSTEM", "Система налогообложения", "32",
     "1 - ОСН, 2 - УСН доход, 4 - УСН доход минус расход, 16 - ЕСХН, 32 - Патент."},
    {9, "THUMB_WIDTH", "Ширина эскизов", "300"},
    {10, "THUMB_HEIGHT", "Высота эскизов", "200"},
    {11, "IMAGE_WIDTH", "Ширина изображений", "600"},
    {12, "CROP_IMAGE", "Кадрировать изображения", "0",
     "0 или 1. Если 1, то при импорте изображения обрезаются до пропорций эскиза."},
    {13, "JPEG_QUALITY", "Качество изображений jpeg", "90",
     "От 0 до 100. Чем ниже значение, тем меньший объем будут занимать изображения."},
    {20, "SMS_GATE_SENDER", "SMS-шлюз: отправитель", "Lavkor"},
    {21, "SMS_GATE_LOGIN", "SMS-шлюз: логин", ""},
    {22, "SMS_GATE_PASSWORD", "SMS-шлюз: пароль", ""},
    {23, "SMS_ONSALE_TEXT", "Текст СМС-оповещения о поступлении наименования",
     "Интересующий Вас товар поступил в продажу. <PRODUCT>",
     "<PRODUCT> заменяется на наименование."},
    {30, "SMTP_HOST", "Адрес SMTP-сервера", ""},
    {31, "SMTP_LOGIN", "SMTP логин", ""},
    {32, "SMTP_PASSWORD", "SMTP пароль", ""},
    {40, "DISCOUNT_MARGIN_PERCENT", "Регулировка цен кассиром", "0",
     "Значение от 0 до 100. На сколько процентов от наценки кассир может изменить цену."},
    {41, "ALLOW_OVERSALE", "Продавать больше остатка", "0",
     "0 или 1. Если 1, то разрешается продавать больше, чем есть в остатке."},
    {42, "ALLOW_PAY_BANK", "Оплата безналичным платежём", "0",
     "0 или 1. Если 1, то заказы можно оплачивать безналичным платежом."},
    {43, "ALLOW_READY_ORDER_EDIT", "Редактировать заказ в состоянии Готов", "0",
     "0 или 1. Если 1, то готовый заказ можно изменять до его выдачи."},
    {44, "ALLOW_GIVEOUT_UNPAID", "Выдавать неоплаченные заказы", "0",
     "0 или 1. Если 1, то заказ можно выдать, не дожидаясь полной оплаты."},
    {45, "OTCOME_REPORT_PERCENT", "В отчете по смене выделять процент от выручки", "0",
     "Значение от 0 до 100. Какой процент от выручки показать в отчете отдельной строкой."},
    {46, "ALLOW_EDIT_CLIENTS", "Разрешить редактировать клиентов", "0",
     "0 или 1. Если 1, то карточки клиентов могут изменять все сотрудники."},
    {60, "PAYMENT_URL", "Интернет-адрес страницы оплаты заказа", "",
     "[ORDER_ID] заменяется на номер заказа, [ORDER_CREATE_DATE] - на дату создания заказа, "
     "[ORDER_CREATE_TIME] - на время создания заказа."},
    {61, "SITE_URL", "URL сайта", ""},
    {70, "KPP", "КПП", "", companyDetails},
    {71, "BANK", "Банк", "", companyDetails},
    {72, "BIK", "БИК", "", companyDetails},
    {73, "KSCHET", "Корреспондентский счёт", "", companyDetails},
    {74, "RSCHET", "Расчётный счёт", "", companyDetails},
    {80, "TIMEZONE", "Часовой пояс", "+3",
     "Числовое значение от -11 до +14. Например, значение для Москвы: +3."},
};

/// Values in quotes, parted by commas.
QString quoted(const QStringList &values)
{
    QStringList texts;
    for (const QString &value : values)
        texts += sql::text(value);
    return texts.join(u',');
}

QString optionStatement(const OptionRow &row)
{
    const QString id = sql::integer(row.id);
    const QString now = currentTimestamp();
    if (!row.description)
        return insert + " INTO options(id,name,localname,value,timestamp) VALUES(" +
               quoted({id, row.name, row.localName, row.value, now}) + ");";
    return insert + " INTO options(id,name,localname,description,value,timestamp) VALUES(" +
           quoted({id, row.name, row.localName, row.description, row.value, now}) + ");";
}

void appendOrderStates(QList<DefaultRow> &rows)
{
    for (const OrderStateRow &row : orderStates) {
        const QString id = sql::integer(row.id);
        rows += {"ostatus", "REPLACE INTO ostatus(id,name,color) VALUES(" +
                                quoted({id, row.name, row.color}) + ");"};
        // The columns that the row above leaves out: replacing resets them on some databases only.
        rows += {"ostatus", "UPDATE ostatus SET enabled='1', client_message=" +
                                sql::text(row.clientMessage) + " WHERE id='" + id + "';"};
    }
    const QString filter =
        "REPLACE INTO ostatusfilters(id,name,minstatus,maxstatus,muserid,mtime) VALUES(";
    rows +=
        {"ostatusfilters", filter + "1,'Незавершенные',0," + sql::integer(firstFinishedState - 1) +
                               ",1," + sql::now() + ");"};
    rows += {"ostatusfilters", filter + "2,'Завершенные'," + sql::integer(firstFinishedState) +
                                   ",999999,1," + sql::now() + ");"};
}

} // namespace

QList<DefaultRow> defaultRows()
{
    QList<DefaultRow> rows;
    for (const CurrencyRow &row : currencies) {
        rows +=
            {"currencies", insert + " INTO currencies(id,c_code,symbol,value) VALUES(" +
                               quoted({sql::integer(row.id), row.code, row.symbol, "1"}) + ");"};
    }
    for (const LocaleRow &row : locales) {
        rows += {"locales", insert + " INTO locales(id,name,description) VALUES(" +
                                sql::integer(row.id) + u',' + quoted({row.name, row.description}) +
                                ");"};
    }
    // The empty password makes the administrator choose one at the first login.
    rows +=
        {"users",
         insert +
             " INTO users(id,login,password,name,rights,frpassword,ctime) "
             "VALUES('1','admin',''," +
             quoted({"Администратор", sql::integer(administratorRights), "1", currentTimestamp()}) +
             ");"};
    int id = 0;
    for (const char *name : expenseTypes) {
        rows += {"expense_types", insert + " INTO expense_types(id,kind,name) VALUES(" +
                                      sql::integer(++id) + ",0," + sql::text(name) + ");"};
    }
    id = 0;
    for (const UnitRow &row : units) {
        rows += {"units", "REPLACE INTO units(id,name,decimals,timestamp) VALUES(" +
                              quoted({sql::integer(++id), row.name, sql::integer(row.decimals),
                                      currentTimestamp()}) +
                              ");"};
    }
    appendOrderStates(rows);
    for (const OptionRow &row : options)
        rows += {"options", optionStatement(row)};
    return rows;
}
