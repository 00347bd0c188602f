#pragma once

#include <QObject>
#include <QString>

class QKeyEvent;
class QLineEdit;
class QModelIndex;
class QSpinBox;
class QTableView;

/// Sees to it that what is typed on the page arrives in the code field, unless a field for texts or
/// numbers has the focus, and that the next code replaces what stands there.
class CodeFieldGuard final : public QObject
{
    Q_OBJECT

public:
    /// Watches the page, which owns the guard.
    CodeFieldGuard(QLineEdit *codeField, QSpinBox *multiplier, QWidget *page);

    /// Gives the focus to the code field; what stands there will be replaced by the next code.
    void take();

    /// Whether the last Return in the code field found there what had been looked up already.
    bool isRepeated() const;

    bool eventFilter(QObject *watched, QEvent *event) override;

signals:
    /// Return was pressed on a row of a table.
    void rowEntered(QTableView *view, const QModelIndex &index);

private:
    bool filterCodeKey(const QKeyEvent &key, bool isReturn, bool isText);
    bool filterMultiplierKey(bool isReturn);

    QLineEdit *m_codeField;
    QSpinBox *m_multiplier;
    QString m_takenText;
    bool m_taken = false; ///< the text of the code field was looked up, the next one replaces it
    bool m_repeated = false;
};
