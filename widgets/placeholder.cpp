#include "widgets/placeholder.h"

#include <QEvent>
#include <QLineEdit>
#include <QStyle>

#include <algorithm>

namespace {

class PlaceholderFitter final : public QObject
{
public:
    PlaceholderFitter(QLineEdit *field, const QStringList &hints)
        : QObject(field),
          m_field(field),
          m_hints(hints)
    {
        field->installEventFilter(this);
        fit();
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Resize || event->type() == QEvent::FontChange)
            fit();
        return QObject::eventFilter(watched, event);
    }

private:
    void fit()
    {
        // The frame, and the blank that a line edit keeps at both ends of its text.
        const int frame = m_field->style()->pixelMetric(QStyle::PM_DefaultFrameWidth);
        const int room = m_field->width() - 2 * (frame + 4);
        const auto hint = std::find_if(m_hints.cbegin(), m_hints.cend(), [&](const QString &text) {
            return m_field->fontMetrics().horizontalAdvance(text) <= room;
        });
        m_field->setPlaceholderText(hint == m_hints.cend() ? m_hints.last() : *hint);
    }

    QLineEdit *m_field;
    QStringList m_hints;
};

} // namespace

void setPlaceholders(QLineEdit *field, const QStringList &hints)
{
    field->setToolTip(hints.first());
    new PlaceholderFitter(field, hints);
}
