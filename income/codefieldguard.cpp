#include "income/codefieldguard.h"

#include "widgets/scanreader.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QSpinBox>
#include <QTableView>

CodeFieldGuard::CodeFieldGuard(QLineEdit *codeField, QSpinBox *multiplier, QWidget *page)
    : QObject(page),
      m_codeField(codeField),
      m_multiplier(multiplier)
{
    const QList<QWidget *> widgets = page->findChildren<QWidget *>();
    for (QWidget *widget : widgets) {
        const bool takesNoText = qobject_cast<QAbstractButton *>(widget) ||
                                 qobject_cast<QComboBox *>(widget) ||
                                 qobject_cast<QTableView *>(widget);
        if (takesNoText || widget == codeField || widget == multiplier)
            widget->installEventFilter(this);
    }
}

void CodeFieldGuard::take()
{
    m_codeField->setFocus();
    m_codeField->selectAll();
    m_takenText = m_codeField->text();
    m_taken = true;
}

bool CodeFieldGuard::isRepeated() const
{
    return m_repeated;
}

bool CodeFieldGuard::eventFilter(QObject *watched, QEvent *event)
{
    const bool isField = watched == m_codeField || watched == m_multiplier;
    if (isField && event->type() == QEvent::ShortcutOverride &&
        static_cast<QKeyEvent *>(event)->matches(QKeySequence::Undo)) {
        event->ignore(); // it takes back an addition, not a letter
        return true;
    }
    if (event->type() != QEvent::KeyPress)
        return QObject::eventFilter(watched, event);
    const auto *key = static_cast<QKeyEvent *>(event);
    const bool isReturn = key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter;
    const bool unmodified = !(key->modifiers() & ~(Qt::ShiftModifier | Qt::KeypadModifier));
    const bool isText = unmodified && !key->text().isEmpty() && key->text().at(0).isPrint();

    if (watched == m_codeField)
        return filterCodeKey(*key, isReturn, isText);
    if (watched == m_multiplier)
        return filterMultiplierKey(isReturn);
    if (isReturn) {
        auto *view = qobject_cast<QTableView *>(watched);
        if (view && view->currentIndex().isValid())
            emit rowEntered(view, view->currentIndex());
        return view != nullptr;
    }
    // A list would search for the keys, and the Return behind them take whatever stands there.
    if (isText && key->key() != Qt::Key_Space) {
        take();
        const ScanReader::HandingOn handingOn;
        QCoreApplication::sendEvent(m_codeField, event);
        return true;
    }
    return QObject::eventFilter(watched, event);
}

bool CodeFieldGuard::filterCodeKey(const QKeyEvent &key, bool isReturn, bool isText)
{
    if (key.key() == Qt::Key_Escape) {
        m_codeField->clear();
        m_taken = false;
        return true;
    }
    if (isReturn)
        m_repeated = m_taken && m_codeField->text() == m_takenText;
    // Only who moves the cursor or deletes a sign wants to correct what was looked up already.
    if (isText && m_taken)
        m_codeField->selectAll();
    const bool edits = !key.text().isEmpty() || key.key() == Qt::Key_Left ||
                       key.key() == Qt::Key_Right || key.key() == Qt::Key_Home ||
                       key.key() == Qt::Key_End;
    if (edits)
        m_taken = isReturn;
    return false;
}

bool CodeFieldGuard::filterMultiplierKey(bool isReturn)
{
    if (!isReturn)
        return false;
    m_multiplier->interpretText();
    take();
    return true;
}
