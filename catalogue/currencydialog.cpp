#include "catalogue/currencydialog.h"

CurrencyDialog::CurrencyDialog(qulonglong id, QWidget *parent)
    : DictionaryDialog(dictionary(), id, parent)
{
    setObjectName("CurrencyDialog");
}

Dictionary CurrencyDialog::dictionary()
{
    constexpr int decimals = 6;
    const DictionaryField code{.column = "c_code",
                               .widget = "cCodeLineEdit",
                               .label = tr("&Код:"),
                               .toolTip =
                                   tr("Код, который указывается у наименований, например EUR."),
                               .required = tr("Пожалуйста, введите код валюты.")};
    const DictionaryField symbol{.column = "symbol",
                                 .widget = "symbolLineEdit",
                                 .label = tr("&Символ:"),
                                 .toolTip = tr("Знак, который показывается рядом с суммой.")};
    const DictionaryField rate{
        .column = "value",
        .kind = FieldKind::Number,
        .widget = "valueDoubleSpinBox",
        .label = tr("К&урс:"),
        .toolTip = tr("Сколько единиц основной валюты стоит одна единица этой. У основной валюты "
                      "курс 1."),
        .required = tr("Пожалуйста, введите курс валюты больше нуля, не более %1 знаков после "
                       "запятой.")
                        .arg(decimals),
        .decimals = decimals,
        .least = 0.000001,
        .most = 999999,
        .initial = 1,
        .tooLong = tr("В базе данных у курса не больше шести значащих цифр: %1.")};
    return {.table = "currencies",
            .columns = {{"id", "id", tr("Номер"), ColumnKind::Id, ColumnWidth::Hidden},
                        {"c_code", "c_code", tr("Код")},
                        {"symbol", "symbol", tr("Символ")},
                        {"value", "value", tr("Курс"), ColumnKind::Factor}},
            .order = "id",
            .command = Command::EditCurrencies,
            .fields = {code, symbol, rate},
            .listTitle = tr("Валюты"),
            .viewName = "currenciesTableView",
            .viewToolTip = tr("Двойной щелчок открывает валюту."),
            .addTitle = tr("Добавление валюты"),
            .editTitle = tr("Редактирование валюты %1")};
}
