#pragma once

#include <QDialog>

class QPlainTextEdit;

/// Asks for a text of several lines.
class TextDialog final : public QDialog
{
    Q_OBJECT

public:
    TextDialog(const QString &title, const QString &text, QWidget *parent);

    QString text() const;

    /// Asks first when the text was changed.
    void reject() override;

private:
    QPlainTextEdit *m_text;
    QString m_former;
};
