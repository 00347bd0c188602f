#include "catalogue/groupdialog.h"
#include "ui_groupdialog.h"

#include "catalogue/productgroups.h"
#include "catalogue/productlist.h"
#include "db/connections.h"
#include "widgets/dialogplace.h"
#include "widgets/plaintext.h"

#include <QTreeWidgetItemIterator>

namespace {

QTreeWidgetItem *addGroup(QTreeWidgetItem *parent, qulonglong id, const QString &name)
{
    auto *item = new QTreeWidgetItem(parent, {name.simplified()});
    item->setData(0, Qt::UserRole, id);
    item->setToolTip(0, plainToolTip(name));
    return item;
}

} // namespace

GroupDialog::GroupDialog(const QList<qulonglong> &ids, QWidget *parent)
    : QDialog(parent),
      m_ui(std::make_unique<Ui::GroupDialog>())
{
    m_ui->setupUi(this);
    m_ui->productsLabel->setText(tr("&Группа для наименований (%1):").arg(ids.size()));
    m_ui->acceptPushButton->setEnabled(showGroups());
    selectGroup(commonGroup(parent, ids).value_or(0));
    m_ui->groupsTreeWidget->setFocus();
    keepDialogSize(this);
}

GroupDialog::~GroupDialog() = default;

bool GroupDialog::change(QWidget *parent, const QList<qulonglong> &ids, QString &told)
{
    if (ids.isEmpty())
        return false;
    const CommandScope command;
    GroupDialog dialog(ids, parent);
    // Without its server there is nothing to choose from, and the user has been asked.
    if (!openConnection(mainConnection) || dialog.exec() != Accepted)
        return false;
    const GroupChange change = changeGroup(parent, ids, dialog.group());
    if (!change.done)
        return true;
    told = tr("Группа «%1» записана наименованиям: %2")
               .arg(dialog.groupName(), QString::number(change.changed));
    if (change.missing > 0)
        told += tr(", нет в каталоге: ") + QString::number(change.missing);
    return true;
}

qulonglong GroupDialog::group() const
{
    return m_ui->groupsTreeWidget->currentItem()->data(0, Qt::UserRole).toULongLong();
}

QString GroupDialog::groupName() const
{
    return m_ui->groupsTreeWidget->currentItem()->text(0);
}

bool GroupDialog::showGroups()
{
    QTreeWidgetItem *root = m_ui->groupsTreeWidget->invisibleRootItem();
    addGroup(root, 0, tr("без группы"));
    QList<SqlRow> rows;
    if (!QueryRows(parentWidget(), groupsQuery(), rows))
        return false;
    QList<QTreeWidgetItem *> path = {root};
    const QList<GroupNode> groups = groupTree(rows);
    for (const GroupNode &node : groups) {
        path.resize(node.depth + 1);
        path += addGroup(path.last(), node.id, node.name);
    }
    m_ui->groupsTreeWidget->expandAll();
    return true;
}

void GroupDialog::selectGroup(qulonglong group)
{
    QTreeWidget *tree = m_ui->groupsTreeWidget;
    tree->setCurrentItem(tree->topLevelItem(0));
    for (QTreeWidgetItemIterator item(tree); *item; ++item) {
        if ((*item)->data(0, Qt::UserRole).toULongLong() == group) {
            tree->setCurrentItem(*item);
            tree->scrollToItem(*item);
            return;
        }
    }
}

void GroupDialog::on_groupsTreeWidget_doubleClicked()
{
    on_acceptPushButton_clicked();
}

void GroupDialog::on_acceptPushButton_clicked()
{
    if (m_ui->acceptPushButton->isEnabled())
        accept();
}

void GroupDialog::on_cancelPushButton_clicked()
{
    reject();
}
