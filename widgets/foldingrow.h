#pragma once

#include <QObject>

class QBoxLayout;
class QWidget;

/// A row of a form that stands its parts one below the other while its box is too narrow for all of
/// them, as in a large font. The box may then be as narrow as its widest part.
class FoldingRow final : public QObject
{
    Q_OBJECT

public:
    /// The row lies in the layout of the box.
    FoldingRow(QBoxLayout *row, QWidget *box);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void fold();
    int widthInOneLine() const;

    QBoxLayout *m_row;
    QWidget *m_box;
};
