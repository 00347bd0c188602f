#pragma once

#include <QObject>
#include <QString>

class QKeyEvent;
class QLineEdit;
class QModelIndex;
class QSpinBox;
class QTableView;

/// Sees to it that what a scanner types arrives in the code field, wherever the focus is on the
/// page, and replaces what stands there. Fields where people write are left alone; the multiplier
/// tells a scan from a number by its length.
class CodeFieldGuard final : public QObject
{
    Q_OBJECT

public:
    /// Watches the page, which owns the guard.
    CodeFieldGuard(QLineEdit *codeField, QSpinBox *multiplier, QWidget *page);

    /// Gives the focus to the code field; what stands there will be replaced by the next scan.
    void take();

    bool eventFilter(QObject *watched, QEvent *event) override;

signals:
    /// A code that was typed elsewhere stands in the code field and is to be looked up.
    void strayScan();

    /// Return was pressed on a row of a table.
    void rowEntered(QTableView *view, const QModelIndex &index);

private:
    void filterCodeKey(const QKeyEvent &key, bool isReturn, bool isText);
    bool filterMultiplierKey(const QKeyEvent &key, bool isReturn, bool isText);

    QLineEdit *m_codeField;
    QSpinBox *m_multiplier;
    QString m_multiplierTyped; ///< since the multiplier has the focus
    int m_multiplierBefore = 1;
    bool m_taken = false; ///< the text of the code field was looked up, the next one replaces it
};
