#include "income/statusline.h"

#include "widgets/colors.h"
#include "widgets/plaintext.h"

#include <QLabel>
#include <QPainter>
#include <QStatusBar>
#include <QStyle>
#include <QToolButton>

namespace {

/// Shows where its text is cut off.
class ElidingLabel final : public QLabel
{
public:
    using QLabel::QLabel;

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        const QRect room = contentsRect().adjusted(indent(), 0, 0, 0);
        style()->drawItemText(
            &painter, room, Qt::AlignLeft | Qt::AlignVCenter, palette(), isEnabled(),
            fontMetrics().elidedText(text(), Qt::ElideRight, room.width()), QPalette::WindowText);
    }
};

template<typename Label>
Label *makeLabel(const char *name, QWidget *parent)
{
    auto *label = new Label(parent);
    label->setObjectName(QLatin1String(name));
    label->setTextFormat(Qt::PlainText);
    return label;
}

} // namespace

StatusLine::StatusLine(QStatusBar *bar)
    : QObject(bar),
      m_bar(bar),
      m_scanLabel(makeLabel<ElidingLabel>("scanLabel", bar)),
      m_missedButton(new QToolButton(bar)),
      m_countLabel(makeLabel<QLabel>("countLabel", bar)),
      m_connectionLabel(makeLabel<QLabel>("connectionLabel", bar))
{
    m_missedButton->setObjectName(QStringLiteral("missedButton"));
    m_missedButton->setAutoRaise(true);
    m_missedButton->setFocusPolicy(Qt::NoFocus);
    m_missedButton->hide();
    connect(m_missedButton, &QToolButton::clicked, this, &StatusLine::missedWanted);
    // A long name must not widen the window.
    m_scanLabel->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_scanLabel->setIndent(8);
    bar->addWidget(m_scanLabel, 1);
    bar->addPermanentWidget(m_missedButton);
    bar->addPermanentWidget(m_countLabel);
    bar->addPermanentWidget(m_connectionLabel);
}

void StatusLine::showText(const QString &text, bool good)
{
    m_scanLabel->setText(text);
    m_scanLabel->setToolTip(plainToolTip(text));
    QPalette colours = m_bar->palette();
    if (!good)
        colours.setColor(QPalette::WindowText, warningTextColor(colours));
    m_scanLabel->setPalette(colours);
}

void StatusLine::showMissedCount(qsizetype count)
{
    m_missedButton->setText(tr("Не найдено кодов: %1").arg(count));
    QPalette colours = m_bar->palette();
    for (const QPalette::ColorRole role : {QPalette::ButtonText, QPalette::WindowText})
        colours.setColor(role, warningTextColor(colours));
    m_missedButton->setPalette(colours);
    m_missedButton->setVisible(count > 0);
}

void StatusLine::showCounts(const QString &text)
{
    m_countLabel->setText(text);
}

void StatusLine::showOnline(bool online)
{
    m_connectionLabel->setText(online ? tr("связь есть") : tr("нет связи"));
}
