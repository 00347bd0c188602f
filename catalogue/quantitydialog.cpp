#include "catalogue/quantitydialog.h"

#include "app/messages.h"
#include "widgets/dialogbuttons.h"
#include "widgets/dialogplace.h"
#include "widgets/numberspinbox.h"

#include <QFormLayout>
#include <QVBoxLayout>

namespace {

constexpr double largestQuantity = 999999;

} // namespace

QuantityDialog::QuantityDialog(const QString &title, double quantity, int decimals, QWidget *parent)
    : QDialog(parent),
      m_quantity(new NumberSpinBox(this))
{
    setObjectName("QuantityDialog");
    setWindowTitle(title);
    m_quantity->setObjectName("quantityDoubleSpinBox");
    m_quantity->setDecimals(decimals);
    m_quantity->setRange(0, largestQuantity);
    m_quantity->setExact(quantity);
    m_quantity->selectAll();
    auto *fields = new QFormLayout;
    fields->addRow(tr("&Количество:"), m_quantity);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(fields);
    layout->addLayout(acceptAndCancel(this, [this] { takeQuantity(); }));
    adjustSize();
    keepDialogSize(this);
}

double QuantityDialog::quantity() const
{
    return m_quantity->exact();
}

void QuantityDialog::takeQuantity()
{
    if (m_quantity->hasAcceptableInput()) {
        accept();
        return;
    }
    showInformation(this, tr("Пожалуйста, введите количество.") + u'\n' + m_quantity->fault());
    m_quantity->setFocus();
    m_quantity->selectAll();
}
