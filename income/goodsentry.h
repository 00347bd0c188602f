#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QRect>
#include <QSet>
#include <QStringList>
#include <QTimer>

#include <functional>
#include <optional>

#include "income/additions.h"
#include "income/codelookup.h"
#include "income/missedcodes.h"
#include "income/receiptline.h"

class QuantityRestDialog;
class QWidget;

/// What an entry starts from, as the window has it at that moment.
struct EntryOptions
{
    int multiplier = 1;
    bool startInPrice = false;
    bool addAtOnce = false; ///< a code goes into the list without the dialog
    bool busy = false;      ///< the window does other work: no code is looked up now
    QRect shown = {};       ///< where the news are shown on the screen, to be left visible
};

/// What the last code or entry came to, to be shown.
struct EntryNews
{
    bool good = false;
    QString status;        ///< for the status line
    QString name = {};     ///< of the product; empty: there is none, status says why
    QString quantity = {}; ///< in the receipt, with its unit
    QString price = {};    ///< selling price, main currency
    QString warning = {};  ///< a peculiarity of the product
    qulonglong wareid = 0; ///< whose line is to be shown
};

/// Adding goods: from codes that are typed or scanned, however fast they come, to lines of the
/// working list. Codes that arrive while a dialog or a box stands open wait for it; an open line
/// dialog is accepted by the next scan. What cannot be placed is kept in missed().
class GoodsEntry final : public QObject
{
    Q_OBJECT

public:
    /// The window is the parent of dialogs and questions. options tells what an entry starts from.
    /// takeWaitingKeys is called just before a dialog opens.
    GoodsEntry(QWidget *window, std::function<EntryOptions()> options,
               std::function<void()> takeWaitingKeys);

    /// Looks a code or product number up and enters what it finds.
    void enterCode(const QString &text);

    /// A code that was scanned somewhere in the program: entered as soon as nothing stands open,
    /// unless the dialog in front is a ScanTaker, or else one behind it.
    void scan(const QString &code);

    /// A scan that did not arrive whole: it is heard, seen and kept.
    void scanTorn(const QString &rest);

    /// Whether the last code that was looked up went into the list.
    bool lastWasAdded() const;

    /// Opens the dialog to add so many units of a product.
    void addProduct(qulonglong wareid);

    /// Opens the dialog on a line.
    void editLine(qulonglong wareid, qulonglong lineId);

    /// Takes back the last addition of this run.
    void takeBack();

    /// The list was posted: nothing of it can be taken back any more, no price was agreed to.
    void forget();

    /// Shows the codes that were not found, to be bound, looked up or struck off.
    void showMissed(const QString &productFilter);

    const MissedCodes &missed() const;

signals:
    /// A waiting code is looked up now.
    void codeTaken(const QString &code);
    void news(const EntryNews &news);
    /// Lines were written, or may have been: the list has to be read again.
    void listTouched();
    /// An entry with a multiplier was accepted.
    void multiplied();
    void missedChanged();

private:
    void serveWaiting();
    void soundStop();
    void lookUp(const QString &text);
    void enterFound(const QString &text, const CodeResult &found);
    void enter(const ReceiptRequest &request, const QString &code);
    bool addAtOnce(const ReceiptRequest &request, const QString &code);
    bool openDialog(const ReceiptRequest &request, const QString &code);
    void acceptAndGoOn();
    void showLoaded(const QuantityRestDialog &dialog, const ReceiptRequest &request,
                    const QString &code);
    void finishLine();
    QWidget *parentNow() const;
    void miss(const QString &code, const QString &reason, bool whole = true);
    void tell(const EntryNews &said);
    static EntryNews newsOf(const Product &product, double quantity, double outcost,
                            std::optional<double> proposed = {});

    QWidget *m_window;
    std::function<EntryOptions()> m_options;
    std::function<void()> m_takeWaitingKeys;
    /// A code for a dialog that something else stands in front of.
    struct HeldCode
    {
        QPointer<QWidget> dialog;
        QString code;
    };

    bool hold(const QString &code);
    void serveHeld();

    QStringList m_waiting;
    QList<HeldCode> m_held;
    QTimer m_timer;
    Additions m_additions;
    MissedCodes m_missed;
    QSet<QString> m_agreedPrices; ///< doubtful prices that the user has confirmed
    QuantityRestDialog *m_dialog = nullptr;
    ReceiptRequest m_request;     ///< what the dialog shows
    bool m_dialogStopped = false; ///< it did not take the scan behind it
    bool m_stopHeard = false;     ///< that a scan has to wait was heard
    bool m_linesFinished = false; ///< the dialog has written a line
    bool m_lastAdded = false;
    bool m_entering = false;
};
