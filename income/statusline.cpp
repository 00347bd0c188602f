#include "income/statusline.h"

#include "widgets/colors.h"
#include "widgets/plaintext.h"

#include <QLabel>
#include <QStatusBar>
#include <QToolButton>

StatusLine::StatusLine(QStatusBar *bar)
    : QObject(bar),
      m_bar(bar),
      m_scanLabel(addLabel("scanLabel")),
      m_missedButton(new QToolButton(bar)),
      m_countLabel(addLabel("countLabel")),
      m_connectionLabel(addLabel("connectionLabel"))
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

QLabel *StatusLine::addLabel(const char *name)
{
    auto *label = new QLabel(m_bar);
    label->setObjectName(QLatin1String(name));
    label->setTextFormat(Qt::PlainText);
    return label;
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
