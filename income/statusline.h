#pragma once

#include <QObject>
#include <QString>

class QLabel;
class QStatusBar;
class QToolButton;

/// The status bar of the main window: what the last scan came to, codes that were not found, how
/// much is in the list, whether the database answers.
class StatusLine final : public QObject
{
    Q_OBJECT

public:
    explicit StatusLine(QStatusBar *bar);

    /// Shows a text; one that is no success in the colour of warnings.
    void showText(const QString &text, bool good);

    /// Shows how many codes were not found; nothing for 0.
    void showMissedCount(qsizetype count);

    void showCounts(const QString &text);
    void showOnline(bool online);

signals:
    /// The user wants to see the codes that were not found.
    void missedWanted();

private:
    QStatusBar *m_bar;
    QLabel *m_scanLabel;
    QToolButton *m_missedButton;
    QLabel *m_countLabel;
    QLabel *m_connectionLabel;
};
