#pragma once

#include "widgets/dictionarylist.h"

/// The table of currencies: edit, add, and the recalculation of the selling prices that follow
/// from the rates.
class CurrenciesDialog : public DictionaryList
{
    Q_OBJECT

public:
    explicit CurrenciesDialog(QWidget *parent);

protected:
    std::unique_ptr<DictionaryDialog> makeDialog(qulonglong id) override;
    void changed() override;

private:
    void calculateOutcost();
};
