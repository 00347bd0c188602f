#pragma once

#include <QFont>
#include <QList>
#include <QSizeF>
#include <QString>

#include <memory>
#include <vector>

#include "app/progressstep.h"

class QPagedPaintDevice;
class QPainter;
class QTextDocument;
struct IncomeReport;
struct ReportTable;

/// A report cut into sheets of paper, for the screen as for the printer. A table's header stands on
/// each sheet that the table goes on to; below stand the title and the number of the sheet. Long
/// tables are laid out in portions: one document of ten thousand lines would stop the program for
/// seconds.
class ReportPages
{
public:
    ReportPages();
    ~ReportPages();
    ReportPages(ReportPages &&) noexcept;
    ReportPages &operator=(ReportPages &&) noexcept;

    /// Lays a report out for sheets that can be printed on in this size, in mm. False when stopped.
    bool layOut(const IncomeReport &report, const QSizeF &room, const ProgressStep &progress = {});

    int count() const;

    /// What the pages were laid out for, in mm.
    QSizeF room() const;

    /// The size of a page in the units of paint().
    QSizeF size() const;

    /// Paints a page, numbered from 0.
    void paint(QPainter *painter, int page) const;

    enum class Printed { Whole, Stopped, Failed };

    /// Prints pages, numbered from 0, on a device, each over the whole of what it can print on.
    Printed print(QPagedPaintDevice *device, int first, int last,
                  const ProgressStep &progress = {}) const;

private:
    /// A stretch of a document from top to bottom.
    struct Strip
    {
        const QTextDocument *document = nullptr;
        qreal top = 0;
        qreal bottom = 0;
        QList<qreal> columns = {}; ///< of a table: where its lines are
        qreal place = 0;           ///< on the page
        QList<qreal> rows = {};    ///< on the page: where its lines are
    };

    qreal bodyHeight() const;
    QTextDocument *add(const QString &html);
    void addText(const QString &html);
    bool addTable(const ReportTable &table, const ProgressStep &progress);
    QList<qreal> wantedWidths(const ReportTable &table) const;
    QList<qreal> columnWidths(const ReportTable &table, qreal width) const;
    void addRow(Strip row, const Strip &header);
    void place(Strip strip);
    static void paintGrid(QPainter *painter, const Strip &strip);
    void beginPage();

    QFont m_font;
    QSizeF m_room;
    QSizeF m_size;
    QString m_title;
    std::vector<std::unique_ptr<QTextDocument>> m_documents;
    QList<QList<Strip>> m_pages;
    qreal m_used = 0; ///< height of what stands on the last page
};
