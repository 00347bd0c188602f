#include "widgets/contrasticon.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>

namespace {

class ContrastIconEngine final : public QIconEngine
{
public:
    explicit ContrastIconEngine(const QIcon &icon)
        : m_icon(icon)
    {
    }

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override
    {
        painter->drawPixmap(rect, pixmap(rect.size(), mode, state));
    }

    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        // A menu asks for the active icon on its selected line, a list for the selected one.
        if (mode != QIcon::Active && mode != QIcon::Selected)
            return m_icon.pixmap(size, 1, mode, state);
        QPixmap result = m_icon.pixmap(size, 1, QIcon::Normal, state);
        QPainter painter(&result);
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(result.rect(),
                         QGuiApplication::palette().color(QPalette::HighlightedText));
        return result;
    }

    QIconEngine *clone() const override
    {
        return new ContrastIconEngine(*this);
    }

private:
    QIcon m_icon;
};

} // namespace

QIcon contrastIcon(const QIcon &icon)
{
    return icon.isNull() ? icon : QIcon(new ContrastIconEngine(icon));
}
