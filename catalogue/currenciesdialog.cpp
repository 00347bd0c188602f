#include "catalogue/currenciesdialog.h"

#include "catalogue/currencydialog.h"
#include "catalogue/productprices.h"
#include "db/connections.h"
#include "db/session.h"
#include "widgets/runwithprogress.h"

#include <QPushButton>

CurrenciesDialog::CurrenciesDialog(QWidget *parent)
    : DictionaryList(CurrencyDialog::dictionary(), parent)
{
    setObjectName("CurrenciesDialog");
    const QPushButton *button =
        addCommand(tr("Пересчитать расходные цены"), "calculateOutcostPushButton",
                   tr("Расходные цены всех наименований с коэффициентом вычисляются заново по "
                      "курсам валют."));
    connect(button, &QPushButton::clicked, this, &CurrenciesDialog::calculateOutcost);
}

std::unique_ptr<DictionaryDialog> CurrenciesDialog::makeDialog(qulonglong id)
{
    return std::make_unique<CurrencyDialog>(id, this);
}

void CurrenciesDialog::changed()
{
    Session::instance().refreshRates(this, mainConnection);
}

void CurrenciesDialog::calculateOutcost()
{
    const CommandScope command;
    PriceRecalculation result;
    runWithProgress(this, tr("Пересчёт расходных цен"), Stopping::Harmless,
                    [&](Progress &progress) {
                        result = recalculateSellingPrices(this, mainConnection, progress.steps());
                    });
    QString text = result.read ? tr("Изменено расходных цен: %1").arg(result.changed)
                               : tr("Расходные цены не пересчитаны.");
    if (result.failed > 0)
        text += tr(", с ошибками: %1").arg(result.failed);
    if (result.left > 0)
        text += tr(", не пересчитано: %1").arg(result.left);
    showResult(text);
}
