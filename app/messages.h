#pragma once

#include <QString>
#include <QStringList>

#include <functional>

class QWidget;

/// The one door for message boxes: all of them are titled "Lavkor" and pass through the installed
/// handler. The program installs the real box, tests install one that answers and takes notes.

enum class BoxKind { Information, Warning, Question };

/// What a message box shows.
struct BoxRequest
{
    BoxKind kind = BoxKind::Information;
    QString text;
    QString note = {};     ///< stands below the text, plain; for facts that belong to a question
    QString details = {};  ///< words of another program, plain; shown only when asked for
    QStringList buttons;   ///< texts in order; a box without buttons gets a single "OK"
    int defaultButton = 0; ///< index taken by Return
    int escapeButton = 0;  ///< index taken by Escape and by closing the box
    bool html = false;     ///< the text is our own markup; otherwise it is shown as it stands
};

/// Shows a box modally over a parent (may be null) and returns the index of the button taken.
using BoxHandler = std::function<int(QWidget *parent, const BoxRequest &request)>;

/// Installs the box handler and returns the former one. Without a handler no box is shown and
/// every question is answered by its escape button.
BoxHandler setBoxHandler(BoxHandler handler);

/// Shows a warning box with the text when showBox is true; writes the text to the log always.
void showWarning(QWidget *parent, const QString &text, bool showBox = true);

/// Shows a warning box whose details (see BoxRequest) stay behind a button; the log gets the text
/// and, on a line of their own, the details.
void showFailure(QWidget *parent, const QString &text, const QString &details);

/// Shows an information box with the text; nothing is logged.
void showInformation(QWidget *parent, const QString &text);

/// How many items of a list a message box has room for.
inline constexpr qsizetype mostListed = 10;

/// The first items of a list for a message box, with a last one that counts those left out.
QStringList shortened(const QStringList &items, qsizetype most = mostListed);

/// Asks a question as described by the request (its kind is set to Question) and returns the index
/// of the chosen button.
int askQuestion(QWidget *parent, BoxRequest request);

/// Asks a plain-text question with the given buttons and returns the index of the chosen one.
int askQuestion(QWidget *parent, const QString &text, const QStringList &buttons, int defaultButton,
                int escapeButton);
