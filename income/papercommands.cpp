#include "income/papercommands.h"

#include "db/connections.h"
#include "income/incomereportdialog.h"
#include "income/receiptexport.h"
#include "labels/labelqueue.h"
#include "labels/labelsdialog.h"
#include "widgets/slotnames.h"

#include <QMainWindow>

#include <utility>

PaperCommands::PaperCommands(QMainWindow *window,
                             std::function<QList<qulonglong>()> selectedProducts)
    : QObject(window),
      m_window(window),
      m_selectedProducts(std::move(selectedProducts))
{
    connectSlots(this, window);
}

void PaperCommands::on_printPushButton_clicked()
{
    const CommandScope command;
    IncomeReportDialog(m_window).exec();
    emit finished();
}

void PaperCommands::on_labelsButton_clicked()
{
    const CommandScope command;
    LabelsDialog(m_window).exec();
    emit finished();
}

void PaperCommands::on_exportIncomeInvoiceAction_triggered()
{
    const CommandScope command;
    if (exportReceipt(m_window))
        emit told(tr("Приходная накладная записана в файл"), true);
    emit finished();
}

void PaperCommands::On_addToLabelsAction_triggered()
{
    const CommandScope command;
    const QList<qulonglong> products = m_selectedProducts();
    if (addToLabels(m_window, products))
        emit told(tr("Добавлено в этикетки, наименований: %1").arg(products.size()), true);
}
