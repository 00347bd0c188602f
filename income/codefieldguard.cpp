#include "income/codefieldguard.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QSpinBox>
#include <QTableView>

#include <utility>

namespace {

constexpr int shortestBarcode = 8; ///< digits; no multiplier has so many

} // namespace

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
    m_taken = true;
}

bool CodeFieldGuard::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_multiplier && event->type() == QEvent::FocusIn) {
        m_multiplierBefore = m_multiplier->value();
        m_multiplierTyped.clear();
    }
    if (event->type() != QEvent::KeyPress)
        return QObject::eventFilter(watched, event);
    const auto *key = static_cast<QKeyEvent *>(event);
    const bool isReturn = key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter;
    const bool unmodified = !(key->modifiers() & ~(Qt::ShiftModifier | Qt::KeypadModifier));
    const bool isText = unmodified && !key->text().isEmpty() && key->text().at(0).isPrint();

    if (watched == m_codeField) {
        filterCodeKey(*key, isReturn, isText);
        return false;
    }
    if (watched == m_multiplier)
        return filterMultiplierKey(*key, isReturn, isText);
    if (isReturn) {
        auto *view = qobject_cast<QTableView *>(watched);
        if (view && view->currentIndex().isValid())
            emit rowEntered(view, view->currentIndex());
        return view != nullptr;
    }
    // A list would search for the keys, and the Return behind them take whatever stands there.
    if (isText && key->key() != Qt::Key_Space) {
        take();
        QCoreApplication::sendEvent(m_codeField, event);
        return true;
    }
    return QObject::eventFilter(watched, event);
}

void CodeFieldGuard::filterCodeKey(const QKeyEvent &key, bool isReturn, bool isText)
{
    // Only who moves the cursor or deletes a sign wants to correct what was looked up already.
    if (isText && m_taken)
        m_codeField->selectAll();
    const bool edits = !key.text().isEmpty() || key.key() == Qt::Key_Left ||
                       key.key() == Qt::Key_Right || key.key() == Qt::Key_Home ||
                       key.key() == Qt::Key_End;
    if (edits)
        m_taken = isReturn;
}

bool CodeFieldGuard::filterMultiplierKey(const QKeyEvent &key, bool isReturn, bool isText)
{
    if (isText)
        m_multiplierTyped += key.text();
    if (!isReturn)
        return false;
    const QString typed = std::exchange(m_multiplierTyped, {});
    if (typed.size() < shortestBarcode) {
        m_multiplier->interpretText();
        take();
        return true;
    }
    m_multiplier->setValue(m_multiplierBefore);
    take();
    m_codeField->setText(typed);
    emit strayScan();
    return true;
}
