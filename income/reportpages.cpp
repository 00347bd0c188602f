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
#include <QTextLayout>
#include <QTextTable>

#include <algorithm>
#include <numeric>

namespace {

constexpr qreal unitsPerMm = 96 / 25.4;
constexpr qreal fontSize = 12;  ///< 9 pt
constexpr int portion = 50;     ///< rows that are laid out in one go
constexpr qreal cellFrame = 14; ///< padding and lines left and right of a text
constexpr qreal cellTop = 5;
constexpr qreal tableFrame = 2;
constexpr qreal lineWidth = 0.75;
constexpr qreal wrappedColumn = 110; ///< where not all have room
constexpr qreal widestColumn = 160;  ///< the least for the widest of them

/// Where each row of a table begins, and where the last one ends.
QList<qreal> rowEdges(const QTextDocument &document, const QTextTable &table)
{
    const QAbstractTextDocumentLayout *layout = document.documentLayout();
    // Its place would be that of what is inside; the table is all that the document has.
    const qreal height = layout->frameBoundingRect(const_cast<QTextTable *>(&table)).height();
    QList<qreal> edges = {0};
    for (int row = 1; row < table.rows(); ++row) {
        qreal top = height;
        for (int column = 0; column < table.columns(); ++column) {
            const QTextBlock block = table.cellAt(row, column).firstCursorPosition().block();
            top = std::min(top, layout->blockBoundingRect(block).top());
        }
        edges += top - cellTop;
    }
    return edges << height;
}

/// The lowest place above a cut, but below the top, that no line of text crosses.
qreal betweenLines(const QTextDocument &document, qreal top, qreal cut)
{
    qreal place = cut;
    for (qreal before = cut + 1; place < before;) {
        before = place;
        for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
            const QRectF area = document.documentLayout()->blockBoundingRect(block);
            if (area.top() >= before || area.bottom() <= before)
                continue;
            for (int i = 0; i < block.layout()->lineCount(); ++i) {
                const QRectF line = block.layout()->lineAt(i).rect().translated(area.topLeft());
                if (line.top() < before && line.bottom() > before)
                    place = std::min(place, line.top());
            }
        }
    }
    return place > top ? place : cut;
}

} // namespace

ReportPages::ReportPages()
    : m_font(QGuiApplication::font())
{
    m_font.setPixelSize(int(fontSize));
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
    // More columns than there is room for: all of it gets smaller.
    const QList<qreal> widths = columnWidths(report.lines, m_size.width());
    const qreal needed = std::accumulate(widths.begin(), widths.end(), tableFrame);
    if (needed > m_size.width())
        m_size *= needed / m_size.width();
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
    if (m_used > 0)
        m_used += fontSize / 2;
    if (m_used + strip.bottom > bodyHeight() && m_used > 0)
        beginPage();
    place(strip);
}

bool ReportPages::addTable(const ReportTable &table, const ProgressStep &progress)
{
    QList<QTextLength> widths;
    QList<qreal> columns = {0};
    for (const qreal width : columnWidths(table, m_size.width())) {
        widths += QTextLength(QTextLength::FixedLength, width);
        columns += columns.last() + width;
    }
    Strip header = {};
    for (qsizetype from = 0; from < std::max<qsizetype>(table.rows.size(), 1); from += portion) {
        if (from > 0 && !goOn(progress, int(from), int(table.rows.size())))
            return false;
        QTextDocument *document =
            add(table.begin + table.rows.mid(from, portion).join(QString()) + table.end);
        auto *made = qobject_cast<QTextTable *>(document->rootFrame()->childFrames().constFirst());
        QTextTableFormat format = made->format();
        format.setColumnWidthConstraints(widths);
        format.setBorder(0); // its own lines would take eight times as long to paint
        made->setFormat(format);
        document->setTextWidth(m_size.width());
        const QList<qreal> edges = rowEdges(*document, *made);
        if (from == 0) {
            header = {document, edges.at(0), edges.at(1), columns};
            if (m_used + header.bottom - header.top + 3 * fontSize > bodyHeight())
                beginPage();
            place(header);
        }
        for (qsizetype row = 1; row + 1 < edges.size(); ++row)
            addRow({document, edges.at(row), edges.at(row + 1), columns}, header);
    }
    return true;
}

/// What each column would need to show everything on one line.
QList<qreal> ReportPages::wantedWidths(const ReportTable &table) const
{
    QFont bold = m_font;
    bold.setBold(true);
    const QFontMetricsF metrics(bold);
    QList<qreal> widths;
    for (const QString &text : table.longest)
        widths += metrics.horizontalAdvance(text) + cellFrame;
    return widths;
}

/// Numbers get what the longest needs, the wrapped columns share the rest of the width: the widest
/// gives way most. They come to more than it when that is too little.
QList<qreal> ReportPages::columnWidths(const ReportTable &table, qreal width) const
{
    QList<qreal> widths = wantedWidths(table);
    qsizetype widest = table.isWrapped.indexOf(true);
    for (qsizetype i = widest; i < widths.size(); ++i) {
        if (table.isWrapped.at(i) && widths.at(i) > widths.at(widest))
            widest = i;
    }
    const auto tooMuch = [&] {
        return std::accumulate(widths.begin(), widths.end(), tableFrame) - width;
    };
    for (qsizetype i = 0; i < widths.size() && tooMuch() > 0; ++i) {
        if (table.isWrapped.at(i) && i != widest)
            widths[i] = std::min(widths.at(i), wrappedColumn);
    }
    if (const qreal excess = tooMuch(); excess > 0)
        widths[widest] =
            std::max(widths.at(widest) - excess, std::min(widths.at(widest), widestColumn));
    return widths;
}

void ReportPages::addRow(Strip row, const Strip &header)
{
    const auto turnPage = [&] {
        beginPage();
        place(header);
    };
    const qreal room = bodyHeight() - (header.bottom - header.top);
    if (m_used + row.bottom - row.top > bodyHeight())
        turnPage();
    while (row.bottom - row.top > room) {
        Strip part = row;
        part.bottom = betweenLines(*row.document, row.top, row.top + room);
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
    QList<Strip> &page = m_pages.last();
    // The rows of a page are painted in one go.
    if (!page.isEmpty() && page.last().document == strip.document &&
        qFuzzyCompare(page.last().bottom, strip.top)) {
        page.last().bottom = strip.bottom;
        page.last().rows += m_used;
    } else {
        strip.rows = {strip.place, m_used};
        page += strip;
    }
}

void ReportPages::beginPage()
{
    m_pages += QList<Strip>();
    m_used = 0;
}

void ReportPages::paintGrid(QPainter *painter, const Strip &strip)
{
    if (strip.columns.isEmpty())
        return;
    QList<QLineF> lines;
    for (const qreal y : strip.rows)
        lines += QLineF(strip.columns.first(), y, strip.columns.last(), y);
    for (const qreal x : strip.columns)
        lines += QLineF(x, strip.rows.first(), x, strip.rows.last());
    painter->setPen(QPen(Qt::gray, lineWidth));
    painter->drawLines(lines);
}

void ReportPages::paint(QPainter *painter, int page) const
{
    for (const Strip &strip : m_pages.at(page)) {
        const QRectF part(0, strip.top, m_size.width(), strip.bottom - strip.top);
        painter->save();
        painter->translate(0, strip.place - strip.top);
        painter->setClipRect(part, Qt::IntersectClip);
        QAbstractTextDocumentLayout::PaintContext context;
        context.clip = part.adjusted(0, 0.5, 0, -0.5);       // without the lines that end at it
        context.palette.setColor(QPalette::Text, Qt::black); // on paper, whatever the screen has
        strip.document->documentLayout()->draw(painter, context);
        painter->restore();
        paintGrid(painter, strip);
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
