#pragma once

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QVariant>

#include <optional>

#include "labels/sheetpainter.h"
#include "widgets/tablecolumn.h"

class QWidget;

/// More labels than these for one row are asked about before they are added.
inline constexpr int manyCopies = 1000;

/// A row for the queue.
struct NewLabel
{
    QString code;
    QString name;
    double quantity = 1; ///< a part of one makes a label too, 0 and less makes none
};

/// What there is to add, or nothing on failure, which has been told over the parent.
using NewLabels = std::optional<QList<NewLabel>>;

/// A label for each unit of a posted receipt, of products with a barcode; of several codes the
/// first one.
NewLabels labelsOfReceipt(QWidget *parent, qulonglong reportId);

/// The same for the working list.
NewLabels labelsOfWorkingList(QWidget *parent);

/// So many labels for each product that has a barcode; of several codes the first one.
NewLabels labelsOfProducts(QWidget *parent, const QList<qulonglong> &wareids, int copies);

/// So many labels for each of these rows of `codes`.
NewLabels labelsOfCodes(QWidget *parent, const QList<qulonglong> &codeIds, int copies);

/// So many labels for a scanned code; none when no product has it.
NewLabels labelsOfScan(QWidget *parent, const QString &scan, int copies);

/// Asks whether there are to be so many labels of a product; what is not many needs no question.
bool mayAddCopies(QWidget *parent, int copies, const QString &name);

/// Adds rows to the queue, all or none, and asks before when there are many labels in a row. False
/// when nothing was added, which has been told where it is a failure.
bool addLabels(QWidget *parent, const QList<NewLabel> &labels);

/// Adds a label for each barcode of these products. False when there was none to add, which has
/// been told.
bool addToLabels(QWidget *parent, const QList<qulonglong> &wareids);

/// The columns of the queue, and the statement that reads it.
QList<TableColumn> labelColumns();
QString labelsSelect();

/// All labels of the queue; 0 on failure, which has been told.
qlonglong totalLabels(QWidget *parent);

/// What became of a change to a row.
enum class LabelEdit { Done, Gone, Changed, Failed };

/// Writes a row's name or quantity. shown: what the user has changed; when another station has put
/// something else there, the row stays and *shown has that.
LabelEdit editLabel(QWidget *parent, qulonglong id, const QString &column, QVariant *shown,
                    const QVariant &value);

/// Writes the same quantity into rows. False when none was written, which has been told.
bool setLabelQuantity(QWidget *parent, const QList<qulonglong> &ids, int copies);

/// Takes rows from the queue. False when nothing was, which has been told.
bool deleteLabels(QWidget *parent, const QList<qulonglong> &ids);
bool deleteAllLabels(QWidget *parent);

/// The columns of the list of products whose price has changed, and the statement that reads it.
QList<TableColumn> priceMarkColumns();
QString priceMarksSelect();

/// A line of that list.
struct PriceMark
{
    qulonglong id = 0; ///< of its latest mark
    qulonglong wareid = 0;
};

/// Takes products off that list, unless their price has changed again since it was read.
bool strikeOff(QWidget *parent, const QList<PriceMark> &marks);

/// "Цена: 12 ₽ 50 к.", and what it is the price of where that is not one piece.
QString priceLine(double outcost, double packQuantity, const QString &unit, int decimals,
                  const QString &currency);

/// What the queue's rows have on their labels, read when it is wanted.
class LabelReader
{
public:
    struct Data
    {
        LabelText text;
        QString wareid;
        bool isKnown = false; ///< its product is there
    };

    /// Reads the rows that it does not know yet, all with one statement. False on failure, which
    /// has been told over the parent.
    bool read(QWidget *parent, const QList<qulonglong> &ids);

    /// Whether all of these rows are known.
    bool hasRead(const QList<qulonglong> &ids) const;

    /// What is on a row's label; nothing of a row that is gone.
    const Data *find(qulonglong id) const;

    /// Forgets everything.
    void clear();

private:
    QHash<qulonglong, Data> m_data;
    QSet<qulonglong> m_read; ///< also those that are gone
};

/// What is wrong with labels, told once for each code.
class LabelFaults
{
public:
    /// Notes what is wrong with a label; with its barcode only when that is painted.
    void add(const LabelReader::Data &label, bool hasBarcode);

    /// Tells what has been noted since.
    void tell(QWidget *parent);

private:
    QSet<QString> m_known;
    QStringList m_missing;
    QStringList m_badSigns;
    QStringList m_badCheckDigits;
};
