#include "catalogue/waresublist.h"

#include "app/messages.h"
#include "db/query.h"
#include "db/session.h"
#include "db/sqltext.h"
#include "db/transaction.h"
#include "widgets/columnwidths.h"
#include "widgets/sqltablemodel.h"
#include "widgets/tableplace.h"

#include <QHeaderView>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

#include <utility>

WareSubList::WareSubList(const WareSubListKind &kind, qulonglong wareid, QWidget *parent)
    : QWidget(parent),
      m_kind(kind),
      m_wareid(wareid),
      m_model(new SqlTableModel(this))
{
    setObjectName(m_kind.name + "Tab");
}

const WareSubListKind &WareSubList::kind() const
{
    return m_kind;
}

void WareSubList::makeTable()
{
    m_view->setObjectName(m_kind.name + "TableView");
    m_view->setAccessibleName(m_kind.title);
    m_view->setToolTip(tr("Двойной щелчок открывает строку."));
    m_view->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_view->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_view->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_view->setTabKeyNavigation(false);
    m_view->setAlternatingRowColors(true);
    m_view->verticalHeader()->hide();
    m_model->setColumns(m_kind.columns);
    m_model->setArrangement(m_kind.arrange);
    m_view->setModel(m_model);
    m_widths = new ColumnWidths(m_view, m_model);
    connect(m_view, &QTableView::activated, this,
            [this](const QModelIndex &index) { edit(m_model->idOf(index.row())); });
    layout()->addWidget(m_view);
    setTabOrder(this, m_view);
    setFocusProxy(m_view);
}

void WareSubList::makeButtons()
{
    auto *row = new QHBoxLayout;
    QWidget *former = m_view;
    const auto add = [&](const QString &text, const char *name, const QKeySequence &key,
                         void (WareSubList::*slot)()) {
        auto *button = new QPushButton(text, this);
        button->setObjectName(m_kind.name + QLatin1String(name));
        button->setShortcut(key);
        button->setToolTip(key.toString(QKeySequence::NativeText));
        button->setAutoDefault(false);
        connect(button, &QPushButton::clicked, this, slot);
        row->addWidget(button);
        setTabOrder(std::exchange(former, button), button);
    };
    add(tr("Добавить"), "AddPushButton", Qt::Key_Insert, &WareSubList::add);
    add(tr("Изменить"), "EditPushButton", {}, &WareSubList::editCurrent);
    add(tr("Удалить"), "DeletePushButton", Qt::Key_Delete, &WareSubList::deleteSelected);
    row->addStretch();
    static_cast<QVBoxLayout *>(layout())->addLayout(row);
}

QString WareSubList::condition() const
{
    QString text =
        " FROM " + m_kind.from + " WHERE " + m_kind.table + ".wareid=" + sql::quotedId(m_wareid);
    if (m_wareid == 0 && m_kind.ofUser)
        text += " AND " + m_kind.table + ".userid=" + sql::quotedId(Session::instance().user().id);
    return text;
}

QString WareSubList::countQuery() const
{
    return "SELECT COUNT(*)" + condition();
}

void WareSubList::read()
{
    if (m_view)
        return;
    m_view = new QTableView(this);
    new QVBoxLayout(this);
    makeTable();
    makeButtons();
    refresh();
}

void WareSubList::refresh(qulonglong selectedId)
{
    const TablePlace place(m_view, m_model);
    if (!m_model->select(this, selectList(m_kind.columns) + condition() + " ORDER BY " +
                                   m_kind.order + u';'))
        return;
    m_widths->resizeToContents();
    place.restore();
    int row = selectedId == 0 ? -1 : m_model->rowOfId(selectedId);
    if (row < 0 && !m_view->currentIndex().isValid() && m_model->rowCount() > 0)
        row = 0;
    if (row >= 0)
        m_view->setCurrentIndex(m_model->index(row, m_view->horizontalHeader()->logicalIndexAt(0)));
    emit counted(m_model->rowCount());
}

bool WareSubList::isTouched() const
{
    return m_touched;
}

void WareSubList::showWritten(qulonglong id)
{
    m_touched = m_touched || id != 0;
    // Also after a cancel: a row may be gone, or another one by now.
    refresh(id);
}

void WareSubList::add()
{
    edit(0);
}

void WareSubList::edit(qulonglong id)
{
    const CommandScope command;
    showWritten(m_kind.edit(window(), id, m_wareid));
    m_view->setFocus();
}

void WareSubList::editCurrent()
{
    const QModelIndex current = m_view->currentIndex();
    if (current.isValid())
        edit(m_model->idOf(current.row()));
    else
        showInformation(window(), tr("Не выделено ни одного элемента."));
}

void WareSubList::deleteSelected()
{
    const CommandScope command;
    QStringList statements;
    const QModelIndexList rows = m_view->selectionModel()->selectedRows();
    for (const QModelIndex &index : rows) {
        statements += "DELETE FROM " + m_kind.table +
                      " WHERE id=" + sql::quotedId(m_model->idOf(index.row())) + u';';
        if (m_kind.deletedWith)
            statements += m_kind.deletedWith(*m_model, index.row());
    }
    if (statements.isEmpty()) {
        showInformation(window(), tr("Не выделено ни одного элемента."));
        return;
    }
    if (askQuestion(window(), m_kind.deleteQuestion, {tr("Да"), tr("Нет")}, 1, 1) != 0)
        return;
    m_touched = runStatements(window(), statements, tr("Не удалено."), mainConnection,
                              {Command::EditProducts}) ||
                m_touched;
    refresh();
}
