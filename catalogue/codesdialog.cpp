#include "catalogue/codesdialog.h"

#include "ui_codesdialog.h"

#include "catalogue/codesearch.h"
#include "catalogue/codeslist.h"
#include "catalogue/waredialog.h"
#include "widgets/columnwidths.h"
#include "widgets/dialogplace.h"
#include "widgets/pagedtable.h"
#include "widgets/sqltablemodel.h"

#include <QClipboard>

CodesDialog::CodesDialog(QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::CodesDialog>()),
      m_model(new SqlTableModel(this))
{
    m_ui->setupUi(this);
    QTableView *view = m_ui->codesTableView;
    view->addAction(m_ui->copyAction);
    m_model->setColumns(codeColumns());
    m_table = new PagedTable(view, m_model, [this] {
        return codePages(this, {.code = cleanCode(m_ui->codefilterLineEdit->text()),
                                .name = m_ui->namefilterLineEdit->text().trimmed()});
    });
    connect(m_table, &PagedTable::refreshed, m_table->widths(), &ColumnWidths::resizeToContents);
    connect(m_table, &PagedTable::refreshed, this, &CodesDialog::enableCommands);
    connect(view->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &CodesDialog::enableCommands);
    m_table->refresh();
    keepDialogSize(this);
}

CodesDialog::~CodesDialog() = default;

void CodesDialog::enableCommands()
{
    const bool chosen = m_table->currentId() != 0;
    m_ui->copyPushButton->setEnabled(chosen);
    m_ui->editPushButton->setEnabled(chosen);
}

void CodesDialog::takeScan(const QString &code)
{
    m_ui->namefilterLineEdit->clear();
    m_ui->codefilterLineEdit->setText(plainCode(cleanCode(code)));
    m_table->enter();
}

void CodesDialog::on_codefilterLineEdit_textChanged()
{
    m_table->refreshSoon();
}

void CodesDialog::on_codefilterLineEdit_returnPressed()
{
    m_table->enter();
}

void CodesDialog::on_namefilterLineEdit_textChanged()
{
    m_table->refreshSoon();
}

void CodesDialog::on_namefilterLineEdit_returnPressed()
{
    m_table->enter();
}

void CodesDialog::on_codesTableView_activated(const QModelIndex & /*index*/)
{
    on_editPushButton_clicked();
}

void CodesDialog::on_copyAction_triggered()
{
    const QModelIndex current = m_ui->codesTableView->currentIndex();
    if (current.isValid())
        QApplication::clipboard()->setText(
            m_model->value(current.row(), QStringLiteral("code")).toString());
}

void CodesDialog::on_copyPushButton_clicked()
{
    on_copyAction_triggered();
}

void CodesDialog::on_editPushButton_clicked()
{
    const int row = m_ui->codesTableView->currentIndex().row();
    const qulonglong wareid = m_model->value(row, QStringLiteral("wareid")).toULongLong();
    if (wareid == 0)
        return;
    const CommandScope command;
    editProduct(this, wareid);
    m_table->refresh();
    m_ui->codesTableView->setFocus();
}

void CodesDialog::on_closePushButton_clicked()
{
    accept();
}
