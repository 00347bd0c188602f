#include "catalogue/textdialog.h"

#include "widgets/dialogbuttons.h"
#include "widgets/dialogplace.h"

#include <QPlainTextEdit>
#include <QVBoxLayout>

TextDialog::TextDialog(const QString &title, const QString &text, QWidget *parent)
    : QDialog(parent),
      m_text(new QPlainTextEdit(text, this))
{
    setObjectName("TextDialog");
    setWindowTitle(title);
    resize(480, 320);
    m_text->setObjectName("textPlainTextEdit");
    m_text->setAccessibleName(title);
    m_text->setTabChangesFocus(true);
    m_former = m_text->toPlainText();
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_text);
    layout->addLayout(acceptAndCancel(this, [this] { accept(); }));
    keepDialogSize(this);
}

QString TextDialog::text() const
{
    return m_text->toPlainText();
}

void TextDialog::reject()
{
    if (m_text->toPlainText() == m_former || mayLoseInput(this))
        QDialog::reject();
}
