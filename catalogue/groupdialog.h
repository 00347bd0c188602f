#pragma once

#include <QDialog>
#include <QList>

#include <memory>

namespace Ui {
class GroupDialog;
}

/// Lets the user choose the group for some products from the tree of groups.
class GroupDialog final : public QDialog
{
    Q_OBJECT

public:
    explicit GroupDialog(const QList<qulonglong> &ids, QWidget *parent = nullptr);
    ~GroupDialog() override;

    /// Lets the user choose and writes the group. False when nothing was chosen, also when the
    /// database cannot be had. told: what was written, for the status line; empty after a failure,
    /// which is told in a box.
    static bool change(QWidget *parent, const QList<qulonglong> &ids, QString &told);

    /// The group chosen, 0 for none.
    qulonglong group() const;

    QString groupName() const;

private slots:
    void on_groupsTreeWidget_doubleClicked();
    void on_acceptPushButton_clicked();
    void on_cancelPushButton_clicked();

private:
    bool showGroups();
    void selectGroup(qulonglong group);

    std::unique_ptr<Ui::GroupDialog> m_ui;
};
