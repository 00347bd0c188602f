#include "income/reportpages.h"

#include "income/incomereport.h"

#include <QAbstractTextDocumentLayout>
#include <QCoreApplication>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPagedPaintDevice>
#include <QPainter>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextTable>

#include <algorithm>
#include <cmath>

namespace {

constexpr qreal unitsPerMm = 96 / 25.4;
constexpr int fontSize = 12;    ///< 9 pt
constexpr int portion = 100;    ///< rows that are laid out in one go
constexpr qreal cellFrame = 12; ///< padding and lines left and right of a text
constexpr qreal cellTop = 6;
constexpr qreal smallestColumn = 40;
constexpr qreal widestColumn = 0.2; ///< of the page, for a wrapped column beside the widest

/// Where each row of a table begins, and where the last one ends.
QList<qreal> rowEdges(const QTextDocument &document, const QTextTable &table)
{
    const QAbstractTextDocumentLayout *layout = document.documentLayout();
    const QRectF frame = layout->frameBoundingRect(const_cast<QTextTable *>(&table));
    QList<qreal> edges = {frame.top()};
    for (int row = 1; row < table.rows(); ++row) {
        qreal top = frame.bottom();
        for (int column = 0; column < table.columns(); ++column) {
            const QTextBlock block = table.cellAt(row, column).firstCursorPosition().block();
            top = std::min(top, layout->blockBoundingRect(block).top());
        }
        edges += top - cellTop;
    }
    return edges << frame.bottom();
}

} // namespace

ReportPages::ReportPages()
    : m_font(QGuiApplication::font())
{
    m_font.setPixelSize(fontSize);
    m_font.setHintingPreference(QFont::PreferNoHinting); // the same breaks at all resolutions
}

ReportPages::~ReportPages() = default;
ReportPages::ReportPages(ReportPages &&) noexcept = default;
ReportPages &ReportPages::operator=(ReportPages &&) noexcept = default;

bool ReportPages::layOut(const IncomeReport &report, const QSizeF &room,
                         const ProgressStep &progress)
{
    m_room = room;
    m_size = room * unitsPerMm;
    m_title = report.title;
    m_documents.clear();
    m_pages.clear();
    beginPage();
    addText(report.heading);
    if (!addTable(report.lines, progress))
        return false;
    addText(report.totals);
    if (report.claimHeading.isEmpty())
        return true;
    addText(report.claimHeading);
    return addTable(report.claim, progress);
}

int ReportPages::count() const
{
    return int(m_pages.size());
}

QSizeF ReportPages::room() const
{
    return m_room;
}

QSizeF ReportPages::size() const
{
    return m_size;
}

qreal ReportPages::bodyHeight() const
{
    return m_size.height() - 2 * fontSize;
}

QTextDocument *ReportPages::add(const QString &html)
{
    m_documents.push_back(std::make_unique<QTextDocument>());
    QTextDocument *document = m_documents.back().get();
    document->setUndoRedoEnabled(false);
    document->setDocumentMargin(0);
    document->setDefaultFont(m_font);
    document->setUseDesignMetrics(true);
    document->setDefaultStyleSheet(
        QStringLiteral("table { border-style: solid; border-color: #808080; }"));
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    document->setDefaultTextOption(option);
    document->setHtml(html);
    return document;
}

void ReportPages::addText(const QString &html)
{
    QTextDocument *document = add(html);
    document->setTextWidth(m_size.width());
    const Strip strip = {document, 0, document->size().height() + fontSize};
    if (m_used + strip.bottom > bodyHeight() && m_used > 0)
        beginPage();
    place(strip);
}

bool ReportPages::addTable(const ReportTable &table, const ProgressStep &progress)
{
    QList<QTextLength> widths;
    for (const qreal width : columnWidths(table))
        widths += QTextLength(QTextLength::FixedLength, width);
    Strip header;
    for (qsizetype from = 0; from < std::max<qsizetype>(table.rows.size(), 1); from += portion) {
        if (from > 0 && !goOn(progress, int(from), int(table.rows.size())))
            return false;
        QTextDocument *document =
            add(table.begin + table.rows.mid(from, portion).join(QString()) + table.end);
        auto *made = qobject_cast<QTextTable *>(document->rootFrame()->childFrames().constFirst());
        QTextTableFormat format = made->format();
        format.setColumnWidthConstraints(widths);
        made->setFormat(format);
        document->setTextWidth(m_size.width());
        const QList<qreal> edges = rowEdges(*document, *made);
        if (from == 0) {
            header = {document, edges.at(0), edges.at(1)};
            if (m_used + header.bottom - header.top + 3 * fontSize > bodyHeight())
                beginPage();
            place(header);
        }
        for (qsizetype row = 1; row + 1 < edges.size(); ++row)
            addRow({document, edges.at(row), edges.at(row + 1)}, header);
    }
    return true;
}

/// Numbers get what the longest needs, the wrapped columns share the rest.
QList<qreal> ReportPages::columnWidths(const ReportTable &table) const
{
    QFont bold = m_font;
    bold.setBold(true);
    const QFontMetricsF metrics(bold);
    QList<qreal> widths;
    qreal rest = m_size.width() - 4;
    qreal wrapped = 0;
    for (qsizetype i = 0; i < table.longest.size(); ++i) {
        qreal width = metrics.horizontalAdvance(table.longest.at(i)) + 2;
        if (table.isWrapped.at(i)) {
            width = std::clamp(width, smallestColumn, m_size.width());
            wrapped += width;
        } else {
            rest -= width + cellFrame;
        }
        widths += width;
    }
    const auto wrappedColumns = std::count(table.isWrapped.begin(), table.isWrapped.end(), true);
    rest -= cellFrame * qreal(wrappedColumns);
    if (wrapped <= rest)
        return widths;
    // The widest one gives way most.
    qsizetype main = table.isWrapped.indexOf(true);
    for (qsizetype i = main; i < widths.size(); ++i) {
        if (table.isWrapped.at(i) && widths.at(i) > widths.at(main))
            main = i;
    }
    for (qsizetype i = 0; i < widths.size(); ++i) {
        if (table.isWrapped.at(i) && i != main) {
            widths[i] = std::min(widths.at(i), m_size.width() * widestColumn);
            rest -= widths.at(i);
        }
    }
    widths[main] = std::max(rest, smallestColumn);
    return widths;
}

void ReportPages::addRow(Strip row, const Strip &header)
{
    const auto turnPage = [&] {
        beginPage();
        place(header);
    };
    const qreal line = QFontMetricsF(m_font).lineSpacing();
    const qreal room = bodyHeight() - (header.bottom - header.top);
    if (m_used + row.bottom - row.top > bodyHeight())
        turnPage();
    while (row.bottom - row.top > room) {
        // Higher than a page: broken between two lines.
        Strip part = row;
        part.bottom = row.top + cellTop + line * std::floor((room - cellTop) / line);
        row.top = part.bottom;
        place(part);
        turnPage();
    }
    place(row);
}

void ReportPages::place(Strip strip)
{
    strip.place = m_used;
    m_used += strip.bottom - strip.top;
    m_pages.last() += strip;
}

void ReportPages::beginPage()
{
    m_pages += QList<Strip>();
    m_used = 0;
}

void ReportPages::paint(QPainter *painter, int page) const
{
    for (const Strip &strip : m_pages.at(page)) {
        const QRectF part(0, strip.top, m_size.width(), strip.bottom - strip.top);
        painter->save();
        painter->translate(0, strip.place - strip.top);
        painter->setClipRect(part, Qt::IntersectClip);
        QAbstractTextDocumentLayout::PaintContext context;
        context.clip = part;
        context.palette.setColor(QPalette::Text, Qt::black); // on paper, whatever the screen has
        strip.document->documentLayout()->draw(painter, context);
        painter->restore();
    }
    painter->setPen(Qt::black);
    painter->setFont(m_font);
    const QRectF foot(0, bodyHeight(), m_size.width(), m_size.height() - bodyHeight());
    painter->drawText(foot, Qt::AlignLeft | Qt::AlignBottom, m_title);
    painter->drawText(
        foot, Qt::AlignRight | Qt::AlignBottom,
        QCoreApplication::translate("ReportPages", "Стр. %1 из %2").arg(page + 1).arg(count()));
}

ReportPages::Printed ReportPages::print(QPagedPaintDevice *device, int first, int last,
                                        const ProgressStep &progress) const
{
    QPainter painter;
    if (!painter.begin(device))
        return Printed::Failed;
    const qreal scale = qreal(device->width()) / m_size.width();
    for (int page = first; page <= last; ++page) {
        if (page > first) {
            if (!goOn(progress, page - first, last - first + 1))
                return Printed::Stopped;
            if (!device->newPage())
                return Printed::Failed;
        }
        painter.save();
        painter.scale(scale, scale);
        paint(&painter, page);
        painter.restore();
    }
    return painter.end() ? Printed::Whole : Printed::Failed;
}
