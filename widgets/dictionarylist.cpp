#include "widgets/dictionarylist.h"

#include "ui_dictionarylist.h"

#include "app/messages.h"
#include "widgets/dictionarydialog.h"
#include "widgets/dictionarystore.h"
#include "widgets/sqltablemodel.h"
#include "widgets/tableplace.h"

DictionaryList::DictionaryList(const Dictionary &dictionary, QWidget *parent,
                               const QString &condition)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::DictionaryList>()),
      m_dictionary(dictionary),
      m_condition(condition),
      m_model(new SqlTableModel(this))
{
    m_ui->setupUi(this);
    setWindowTitle(m_dictionary.listTitle);
    m_ui->resultLabel->clear();
    m_ui->searchLineEdit->setVisible(!m_dictionary.searched.isEmpty());
    m_ui->deletePushButton->setVisible(!m_dictionary.deleteQuestion.isEmpty());
    describeTable();
    m_ui->tableView->setFocus();
    refresh();
}

DictionaryList::~DictionaryList() = default;

void DictionaryList::describeTable()
{
    QTableView *view = m_ui->tableView;
    view->setObjectName(m_dictionary.viewName);
    view->setToolTip(m_dictionary.viewToolTip);
    if (!m_dictionary.deleteQuestion.isEmpty())
        view->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_model->setColumns(m_dictionary.columns);
    view->setModel(m_model);
    connect(view, &QTableView::activated, this,
            [this](const QModelIndex &index) { edit(m_model->idOf(index.row())); });
    connect(view->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &DictionaryList::enableCommands);
    connect(view->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &DictionaryList::enableCommands);
}

/// Reads the list anew; the user's place moves to an entry only when one is given.
void DictionaryList::refresh(qulonglong selectedId)
{
    QTableView *view = m_ui->tableView;
    const TablePlace place(view, m_model);
    m_model->select(this, dictionaryList(m_dictionary, m_ui->searchLineEdit->text(), m_condition));
    for (int column = 0; column < m_dictionary.columns.size(); ++column) {
        const ColumnWidth width = m_dictionary.columns.at(column).width;
        view->setColumnHidden(column, width == ColumnWidth::Hidden);
        if (width == ColumnWidth::Rest)
            view->horizontalHeader()->setSectionResizeMode(column, QHeaderView::Stretch);
    }
    place.restore();
    if (const int row = selectedId == 0 ? -1 : m_model->rowOfId(selectedId); row >= 0)
        view->setCurrentIndex(m_model->index(row, view->horizontalHeader()->logicalIndexAt(0)));
    enableCommands();
}

void DictionaryList::enableCommands()
{
    m_ui->editPushButton->setEnabled(m_ui->tableView->currentIndex().isValid());
    m_ui->deletePushButton->setEnabled(m_ui->tableView->selectionModel()->hasSelection());
}

QList<qulonglong> DictionaryList::selectedIds() const
{
    QList<qulonglong> ids;
    const QModelIndexList rows = m_ui->tableView->selectionModel()->selectedRows();
    for (const QModelIndex &index : rows)
        ids += m_model->idOf(index.row());
    return ids;
}

void DictionaryList::on_searchLineEdit_textChanged()
{
    refresh();
}

void DictionaryList::on_addPushButton_clicked()
{
    edit(0);
}

void DictionaryList::on_editPushButton_clicked()
{
    if (const QModelIndex current = m_ui->tableView->currentIndex(); current.isValid())
        edit(m_model->idOf(current.row()));
}

void DictionaryList::edit(qulonglong id)
{
    const CommandScope command;
    const std::unique_ptr<DictionaryDialog> dialog = makeDialog(id);
    const bool written = dialog->exec() == Accepted;
    // Also after a cancel: the entry may be gone, or another one by now.
    refresh(written ? dialog->id() : 0);
    if (written)
        changed();
}

void DictionaryList::on_deletePushButton_clicked()
{
    const CommandScope command;
    const QList<qulonglong> ids = selectedIds();
    const QString question = deleteQuestion(ids);
    if (ids.isEmpty() || question.isEmpty() ||
        askQuestion(this, question, {tr("Да"), tr("Нет")}, 1, 1) != 0)
        return;
    const bool written = deleteEntries(this, m_dictionary, ids);
    refresh();
    if (written)
        changed();
}

void DictionaryList::on_closePushButton_clicked()
{
    accept();
}

std::unique_ptr<DictionaryDialog> DictionaryList::makeDialog(qulonglong id)
{
    return std::make_unique<DictionaryDialog>(m_dictionary, id, this);
}

QString DictionaryList::deleteQuestion(const QList<qulonglong> & /*ids*/)
{
    return m_dictionary.deleteQuestion;
}

void DictionaryList::changed()
{
}

QPushButton *DictionaryList::addCommand(const QString &text, const QString &name,
                                        const QString &toolTip)
{
    auto *button = new QPushButton(text, this);
    button->setObjectName(name);
    button->setToolTip(toolTip);
    button->setAutoDefault(false);
    m_ui->buttonLayout->insertWidget(m_ui->buttonLayout->indexOf(m_ui->buttonSpacer), button);
    setTabOrder(m_ui->deletePushButton, button);
    setTabOrder(button, m_ui->closePushButton);
    return button;
}

void DictionaryList::showResult(const QString &text)
{
    m_ui->resultLabel->setText(text);
}
