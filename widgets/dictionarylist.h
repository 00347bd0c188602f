#pragma once

#include <QDialog>
#include <QList>

#include <memory>

#include "widgets/dictionary.h"

class ColumnWidths;
class DictionaryDialog;
class QPushButton;
class SqlTableModel;

namespace Ui {
class DictionaryList;
}

/// The list of a dictionary: add, edit, delete, search. What is special about a dictionary stands
/// in a class of its own that replaces the virtual functions.
class DictionaryList : public QDialog
{
    Q_OBJECT

public:
    /// condition: in SQL, which entries belong to the list; none: all.
    DictionaryList(const Dictionary &dictionary, QWidget *parent, const QString &condition = {});
    ~DictionaryList() override;

    /// Lets the user choose an entry: it is chosen with Return, a double click or the button for
    /// it. current: the entry to begin at, 0 for none.
    void offerChoice(qulonglong current);

    /// The entry chosen, 0 for none.
    qulonglong chosen() const;

    void setVisible(bool visible) override;

protected:
    /// The dialog of an entry, id 0: of a new one.
    virtual std::unique_ptr<DictionaryDialog> makeDialog(qulonglong id);

    /// Lets the user edit an entry, id 0: a new one, with the dialog made by makeDialog(). Returns
    /// the id of what was written, 0 for nothing.
    virtual qulonglong editEntry(qulonglong id);

    /// Something was written; the list has been read again.
    virtual void changed();

    /// A button for a further command, behind the others.
    QPushButton *addCommand(const QString &text, const QString &name, const QString &toolTip);

    /// Shows what came of a command below the table.
    void showResult(const QString &text);

private slots:
    void on_searchLineEdit_textChanged();
    void on_searchLineEdit_returnPressed();
    void on_newPushButton_clicked();
    void on_editPushButton_clicked();
    void on_deletePushButton_clicked();
    void on_selectPushButton_clicked();
    void on_closePushButton_clicked();

private:
    int columnsWidth() const;
    void describeTable();
    void describeButtons();
    void open(qulonglong id);
    void choose(qulonglong id);
    bool askToDelete(const QList<qulonglong> &ids);
    void refresh(qulonglong selectedId = 0);
    void enableCommands();
    void edit(qulonglong id);
    QList<qulonglong> selectedIds() const;

    std::unique_ptr<Ui::DictionaryList> m_ui;
    Dictionary m_dictionary;
    QString m_condition;
    SqlTableModel *m_model;
    ColumnWidths *m_widths;
    bool m_choosing = false;
    qulonglong m_chosen = 0;
    bool m_hasPlace = false; ///< its size is the one kept
};
