#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

#include <xcb/xcb.h>

/// A virtual X screen of its own, on which programs are started and watched from outside.
class VirtualScreen
{
public:
    /// Starts Xvfb; a failure ends the program.
    VirtualScreen();
    ~VirtualScreen();
    VirtualScreen(const VirtualScreen &) = delete;
    VirtualScreen &operator=(const VirtualScreen &) = delete;

    /// Starts a program with that home directory and ends it as soon as its first window is on the
    /// screen. Returns the milliseconds from the start until then.
    double timeFirstWindow(const QString &program, const QString &home);

private:
    void waitForWindow();

    QProcess m_server;
    QString m_display;
    xcb_connection_t *m_connection = nullptr;
};
