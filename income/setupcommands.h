#pragma once

#include <QObject>

#include "administration/stationsettings.h"

class QMainWindow;

/// The commands of the main window that set the program up.
class SetupCommands final : public QObject
{
    Q_OBJECT

public:
    explicit SetupCommands(QMainWindow *window);

    /// What the settings window tries out and asks for.
    static SettingsParts parts();

signals:
    /// The settings of this workstation may be others now.
    void settingsKept();
    /// What a command came to, for the status line.
    void told(const QString &text, bool good);
    /// A window was closed.
    void finished();

private slots:
    void on_settingsAction_triggered();
    void on_optionsAction_triggered();

private:
    QMainWindow *m_window;
};
