#include "income/receiptexport.h"

#include "app/messages.h"
#include "db/query.h"
#include "db/sqltext.h"
#include "widgets/csvfile.h"
#include "widgets/runwithprogress.h"
#include "widgets/savedialog.h"

#include <QCoreApplication>

namespace {

constexpr int portion = 500;   ///< lines between two steps of the progress
constexpr qsizetype texts = 3; ///< columns of a line that are text, the others are numbers

QString tr(const char *text)
{
    return QCoreApplication::translate("ReceiptExport", text);
}

QString linesQuery(qulonglong reportId)
{
    const QString product =
        QStringLiteral("SELECT warehouse.wuid, warehouse.article, warehouse.name, ");
    if (reportId == 0)
        return product +
               "incomeinvoice.incost, incomeinvoice.outcost, incomeinvoice.quantity FROM "
               "incomeinvoice LEFT JOIN warehouse ON warehouse.id = incomeinvoice.wareid ORDER BY "
               "incomeinvoice.id;";
    return product +
           "income.incost, warehouse.outcost, income.quantity FROM income LEFT JOIN warehouse ON "
           "warehouse.id = income.wareid WHERE income.reportid=" +
           sql::quotedId(reportId) + " ORDER BY income.id;";
}

/// False when stopped by the user or, with the reason, when the file failed.
bool writeLines(CsvFile &file, const QList<SqlRow> &lines, Progress &progress, bool &stopped)
{
    if (!file.open() ||
        !file.write({"wuid", "article", "product", "incost", "outcost", "quantity"}))
        return false;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (i % portion == portion - 1 && !progress.step(int(i), int(lines.size()))) {
            stopped = true;
            return false;
        }
        QVariantList values;
        for (const QVariant &value : lines.at(i)) {
            const bool isText = values.size() < texts || value.isNull();
            values += isText ? QVariant(value.toString()) : QVariant(value.toDouble());
        }
        if (!file.write(values))
            return false;
    }
    return file.commit();
}

} // namespace

bool exportReceipt(QWidget *parent, qulonglong reportId)
{
    const QString name = reportId == 0 ? tr("Приход") : tr("Накладная %1").arg(reportId);
    const QString path = askSavePath(parent, tr("Экспорт приходной накладной в файл"),
                                     name + ".csv", tr("Файл csv (*.csv)"));
    return !path.isEmpty() && exportReceiptTo(parent, path, reportId);
}

bool exportReceiptTo(QWidget *parent, const QString &path, qulonglong reportId)
{
    const CommandScope command;
    QList<SqlRow> lines;
    if (!QueryRows(parent, linesQuery(reportId), lines))
        return false;
    CsvFile file(path,
                 {.separator = QStringLiteral(", "), .byteOrderMark = false, .decimalSign = u'.'});
    bool stopped = false;
    bool written = false;
    runWithProgress(parent, tr("Экспорт накладной…"), Stopping::Harmless, [&](Progress &progress) {
        written = writeLines(file, lines, progress, stopped);
    });
    if (written)
        showInformation(parent, tr("Записано строк: %1").arg(lines.size()));
    else if (!stopped)
        showFailure(parent, tr("Ошибка создания файла накладной ") + path, file.errorText());
    return written;
}
