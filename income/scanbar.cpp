#include "income/scanbar.h"

#include "income/goodsentry.h"
#include "widgets/colors.h"
#include "widgets/plaintext.h"

#include <QEvent>
#include <QLabel>
#include <QScopedValueRollback>
#include <QVBoxLayout>

namespace {

constexpr double headlineScale = 1.9; ///< of the window's font
constexpr double detailsScale = 1.6;

} // namespace

ScanBar::ScanBar(QWidget *parent)
    : QFrame(parent),
      m_headline(new QLabel(this)),
      m_details(new QLabel(this))
{
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Base);
    m_headline->setObjectName(QStringLiteral("scanHeadlineLabel"));
    m_details->setObjectName(QStringLiteral("scanDetailsLabel"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 4, 8, 4);
    layout->setSpacing(0);
    for (QLabel *label : {m_headline, m_details}) {
        label->setTextFormat(Qt::PlainText);
        // A long name must not widen the window.
        label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
        layout->addWidget(label);
    }
    setUpFonts();
    show({}, {}, true);
}

void ScanBar::showProduct(const QString &name, const QString &quantity, const QString &price,
                          const QString &warning)
{
    QStringList details;
    if (!quantity.isEmpty())
        details += tr("В приходе: %1").arg(quantity);
    if (!price.isEmpty())
        details += tr("Цена: %1").arg(price);
    if (!warning.isEmpty())
        details += warning;
    show(name, details.join(QStringLiteral("     ")), warning.isEmpty());
}

void ScanBar::showNews(const EntryNews &news)
{
    if (!news.name.isEmpty())
        showProduct(news.name, news.quantity, news.price, news.warning);
    else if (news.good)
        showProduct(news.status, {}, {});
    else
        showMiss(news.status);
}

void ScanBar::showMiss(const QString &text)
{
    show(text, {}, false);
}

QString ScanBar::text() const
{
    return m_text;
}

void ScanBar::show(const QString &headline, const QString &details, bool good)
{
    m_text = details.isEmpty() ? headline : headline + u'\n' + details;
    m_headline->setProperty("whole", headline.simplified());
    m_details->setProperty("whole", details);
    setToolTip(m_text.isEmpty() ? QString() : plainToolTip(m_text));
    setAccessibleName(m_text);
    QPalette colours = parentWidget() ? parentWidget()->palette() : palette();
    if (!good) {
        const QColor red = warningTextColor(colours);
        colours.setColor(QPalette::WindowText, red);
        colours.setColor(QPalette::Base,
                         blendColors(colours.color(QPalette::Base), QColor(220, 40, 30), 0.18));
    }
    setPalette(colours);
    elide();
}

void ScanBar::elide()
{
    // A price cut short reads as another price: its signs get smaller before.
    const QString whole = m_details->property("whole").toString();
    QFont details = m_details->font();
    double scale = detailsScale;
    do {
        details.setPointSizeF(font().pointSizeF() * scale);
        scale -= 0.05;
    } while (scale >= 1 && QFontMetrics(details).horizontalAdvance(whole) > m_details->width());
    m_details->setFont(details);
    for (QLabel *label : {m_headline, m_details}) {
        label->setText(label->fontMetrics().elidedText(label->property("whole").toString(),
                                                       Qt::ElideRight, label->width()));
    }
}

void ScanBar::setUpFonts()
{
    const QScopedValueRollback setting(m_settingFonts, true);
    QFont large = font();
    large.setBold(true);
    large.setPointSizeF(font().pointSizeF() * headlineScale);
    m_headline->setFont(large);
    large.setBold(false);
    large.setPointSizeF(font().pointSizeF() * detailsScale);
    m_details->setFont(large);
    for (QLabel *label : {m_headline, m_details})
        label->setFixedHeight(label->fontMetrics().height() + 2);
}

void ScanBar::resizeEvent(QResizeEvent *event)
{
    QFrame::resizeEvent(event);
    elide();
}

void ScanBar::changeEvent(QEvent *event)
{
    QFrame::changeEvent(event);
    if (event->type() == QEvent::FontChange && !m_settingFonts) {
        setUpFonts();
        elide();
    }
}
