#include "widgets/dictionarylist.h"

#include "ui_dictionarylist.h"

#include "app/messages.h"
#include "widgets/columnwidths.h"
#include "widgets/dialogplace.h"
#include "widgets/dictionarydialog.h"
#include "widgets/dictionarystore.h"
#include "widgets/sqltablemodel.h"
#include "widgets/tableplace.h"

#include <QScrollBar>

#include <algorithm>

DictionaryList::DictionaryList(const Dictionary &dictionary, QWidget *parent,
                               const QString &condition)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::DictionaryList>()),
      m_dictionary(dictionary),
      m_condition(condition),
      m_model(new SqlTableModel(this))
{
    m_ui->setupUi(this);
    setObjectName(m_dictionary.listName);
    setWindowTitle(m_dictionary.listTitle);
    m_ui->resultLabel->hide();
    m_ui->searchLineEdit->setVisible(!m_dictionary.searched.isEmpty());
    describeButtons();
    describeTable();
    m_ui->tableView->setFocus();
    refresh();
}

DictionaryList::~DictionaryList() = default;

void DictionaryList::setVisible(bool visible)
{
    if (visible && !m_hasPlace) {
        resize(std::max(width(), columnsWidth()), height());
        keepDialogSize(this); // with the buttons that a class on top has added
    }
    m_hasPlace = m_hasPlace || visible;
    QDialog::setVisible(visible);
}

/// What the list is wide when it shows all its columns.
int DictionaryList::columnsWidth() const
{
    const QTableView *view = m_ui->tableView;
    const QMargins margins = layout()->contentsMargins();
    return view->horizontalHeader()->length() + view->verticalScrollBar()->sizeHint().width() +
           2 * view->frameWidth() + margins.left() + margins.right();
}

void DictionaryList::describeButtons()
{
    if (!m_dictionary.addText.isEmpty())
        m_ui->newPushButton->setText(m_dictionary.addText);
    // A new text takes the shortcut off.
    m_ui->newPushButton->setShortcut(Qt::Key_Insert);
    m_ui->deletePushButton->setVisible(!m_dictionary.deleteQuestion.isEmpty());
    m_ui->selectPushButton->hide();
}

void DictionaryList::describeTable()
{
    QTableView *view = m_ui->tableView;
    view->setObjectName(m_dictionary.viewName);
    view->setAccessibleName(m_dictionary.listTitle);
    view->setToolTip(m_dictionary.viewToolTip);
    const QString &question = m_dictionary.deleteQuestion;
    if (!question.isEmpty() && !question.contains("%1"))
        view->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_model->setColumns(m_dictionary.columns);
    m_model->setArrangement(m_dictionary.arrange);
    view->setModel(m_model);
    m_widths = new ColumnWidths(view, m_model);
    const auto &columns = m_dictionary.columns;
    view->horizontalHeader()->setStretchLastSection(
        std::none_of(columns.begin(), columns.end(),
                     [](const TableColumn &column) { return column.width == ColumnWidth::Rest; }));
    connect(view, &QTableView::activated, this,
            [this](const QModelIndex &index) { open(m_model->idOf(index.row())); });
    connect(view->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            &DictionaryList::enableCommands);
    connect(view->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &DictionaryList::enableCommands);
}

void DictionaryList::offerChoice(qulonglong current)
{
    m_choosing = true;
    m_ui->selectPushButton->show();
    m_ui->tableView->setToolTip(tr("Двойной щелчок выбирает запись."));
    if (const int row = m_model->rowOfId(current); current != 0 && row >= 0) {
        m_ui->tableView->setCurrentIndex(
            m_model->index(row, m_ui->tableView->horizontalHeader()->logicalIndexAt(0)));
    }
    enableCommands();
}

qulonglong DictionaryList::chosen() const
{
    return m_chosen;
}

void DictionaryList::open(qulonglong id)
{
    if (m_choosing)
        choose(id);
    else
        edit(id);
}

void DictionaryList::choose(qulonglong id)
{
    m_chosen = id;
    accept();
}

/// Reads the list anew; the user's place moves to an entry only when one is given.
void DictionaryList::refresh(qulonglong selectedId)
{
    QTableView *view = m_ui->tableView;
    const TablePlace place(view, m_model);
    m_model->select(this, dictionaryList(m_dictionary, m_ui->searchLineEdit->text(), m_condition));
    m_widths->resizeToContents();
    place.restore();
    if (const int row = selectedId == 0 ? -1 : m_model->rowOfId(selectedId); row >= 0)
        view->setCurrentIndex(m_model->index(row, view->horizontalHeader()->logicalIndexAt(0)));
    enableCommands();
}

void DictionaryList::enableCommands()
{
    m_ui->editPushButton->setEnabled(m_ui->tableView->currentIndex().isValid());
    m_ui->deletePushButton->setEnabled(m_ui->tableView->selectionModel()->hasSelection());
    m_ui->selectPushButton->setEnabled(m_ui->editPushButton->isEnabled());
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

/// From the search to what it has found.
void DictionaryList::on_searchLineEdit_returnPressed()
{
    if (!m_ui->tableView->currentIndex().isValid())
        m_ui->tableView->selectRow(0);
    m_ui->tableView->setFocus();
}

void DictionaryList::on_newPushButton_clicked()
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
    const qulonglong written = editEntry(id);
    // Also after a cancel: the entry may be gone, or another one by now.
    refresh(written);
    if (written != 0)
        changed();
}

void DictionaryList::on_deletePushButton_clicked()
{
    const CommandScope command;
    const QList<qulonglong> ids = selectedIds();
    if (ids.isEmpty() || !askToDelete(ids))
        return;
    setCursor(Qt::WaitCursor); // a large group takes its time
    const bool written = deleteEntries(this, m_dictionary, ids);
    unsetCursor();
    refresh();
    if (written)
        changed();
}

/// With how many rows of other tables use the entries.
bool DictionaryList::askToDelete(const QList<qulonglong> &ids)
{
    BoxRequest request{.text = m_dictionary.deleteQuestion,
                       .buttons = {tr("Да"), tr("Нет")},
                       .defaultButton = 1,
                       .escapeButton = 1};
    QStringList notes;
    for (const DictionaryUse &use : std::as_const(m_dictionary.uses)) {
        if (use.told.isEmpty())
            continue;
        const std::optional<qlonglong> count = countUses(this, m_dictionary, use, ids);
        if (!count)
            return false;
        if (request.text.contains("%1"))
            request.text = request.text.arg(*count);
        else if (*count > 0)
            notes += use.told.arg(*count);
    }
    request.note = notes.join(u'\n');
    return askQuestion(this, request) == 0;
}

void DictionaryList::on_selectPushButton_clicked()
{
    if (const QModelIndex current = m_ui->tableView->currentIndex(); current.isValid())
        choose(m_model->idOf(current.row()));
}

void DictionaryList::on_closePushButton_clicked()
{
    accept();
}

std::unique_ptr<DictionaryDialog> DictionaryList::makeDialog(qulonglong id)
{
    return std::make_unique<DictionaryDialog>(m_dictionary, id, this);
}

qulonglong DictionaryList::editEntry(qulonglong id)
{
    const std::unique_ptr<DictionaryDialog> dialog = makeDialog(id);
    return dialog->exec() == Accepted ? dialog->id() : 0;
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
    setTabOrder(button, m_ui->selectPushButton);
    return button;
}

void DictionaryList::showResult(const QString &text)
{
    m_ui->resultLabel->setText(text);
    m_ui->resultLabel->setVisible(!text.isEmpty());
}
