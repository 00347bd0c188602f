#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QWidget>

#include <functional>

#include "db/query.h"
#include "widgets/tablecolumn.h"

class ColumnWidths;
class QTableView;
class SqlTableModel;

/// The rows of a table that hang on a product, as their list needs to know them.
struct WareSubListKind
{
    QString name;  ///< of the widgets
    QString title; ///< of the tab
    QString table;
    QList<TableColumn> columns; ///< the first one is the id
    QString from;               ///< the table with what is joined to it
    QString order;              ///< what the list is sorted by
    bool ofUser = false;        ///< rows of a product that is not saved yet belong to a user
    std::function<void(QList<SqlRow> &rows)> arrange = {}; ///< see SqlTableModel
    QString deleteQuestion;
    /// Further statements for a row that is deleted.
    std::function<QStringList(const SqlTableModel &model, int row)> deletedWith = {};
    /// Lets the user add a row (id 0) or edit one; the id of what was written, 0 for nothing.
    std::function<qulonglong(QWidget *parent, qulonglong id, qulonglong wareid)> edit;
};

/// A list of such rows with the keys and buttons to add (Ins), edit (Return, double click) and
/// delete (Del).
class WareSubList final : public QWidget
{
    Q_OBJECT

public:
    /// wareid 0: a product that is not saved yet.
    WareSubList(const WareSubListKind &kind, qulonglong wareid, QWidget *parent);

    const WareSubListKind &kind() const;

    /// The SELECT, without parentheses, that counts the rows.
    QString countQuery() const;

    /// Makes the table and reads the rows unless they are here already. Most lists of a card are
    /// never looked at.
    void read();

    /// Reads the rows anew; the user's place moves to a row only when one is given.
    void refresh(qulonglong selectedId = 0);

    /// Whether rows were added, edited or deleted.
    bool isTouched() const;

    /// The row written, 0 for none, becomes the current one.
    void showWritten(qulonglong id);

signals:
    void counted(int rows);

private:
    QString condition() const;
    void makeTable();
    void makeButtons();
    void add();
    void edit(qulonglong id);
    void editCurrent();
    void deleteSelected();

    WareSubListKind m_kind;
    qulonglong m_wareid;
    SqlTableModel *m_model;
    QTableView *m_view = nullptr;
    ColumnWidths *m_widths = nullptr;
    bool m_touched = false;
};
