#include "bench/screen.h"

#include <QElapsedTimer>
#include <QProcessEnvironment>

#include <poll.h>

#include <cstdint>
#include <cstdlib>

namespace {

constexpr int patience = 30'000; // ms

} // namespace

VirtualScreen::VirtualScreen()
{
    // It writes the number of the free display that it has found to its standard output.
    m_server.start("Xvfb", {"-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten", "tcp"});
    while (!m_server.canReadLine()) {
        if (!m_server.waitForReadyRead(patience))
            qFatal("Xvfb does not start");
    }
    m_display = ':' + m_server.readLine().trimmed();
    m_connection = xcb_connect(m_display.toUtf8().constData(), nullptr);
    if (xcb_connection_has_error(m_connection) != 0)
        qFatal("no connection to Xvfb");
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    const uint32_t events = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(m_connection, root, XCB_CW_EVENT_MASK, &events);
    xcb_flush(m_connection);
}

VirtualScreen::~VirtualScreen()
{
    xcb_disconnect(m_connection);
    m_server.terminate();
    m_server.waitForFinished(patience);
}

double VirtualScreen::timeFirstWindow(const QString &program, const QString &home)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DISPLAY", m_display);
    environment.insert("QT_QPA_PLATFORM", "xcb");
    environment.insert("HOME", home);
    environment.remove("XDG_CONFIG_HOME");
    QProcess process;
    process.setProcessEnvironment(environment);
    QElapsedTimer clock;
    clock.start();
    process.start(program, QStringList());
    if (!process.waitForStarted(patience))
        qFatal("%s does not start", qPrintable(program));
    waitForWindow();
    const double time = double(clock.nsecsElapsed()) / 1e6;
    process.kill();
    process.waitForFinished(patience);
    // What the end of the program does to its windows is not the next program's.
    std::free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    while (xcb_generic_event_t *event = xcb_poll_for_event(m_connection))
        std::free(event);
    return time;
}

void VirtualScreen::waitForWindow()
{
    for (;;) {
        while (xcb_generic_event_t *event = xcb_poll_for_event(m_connection)) {
            const int type = event->response_type & 0x7f;
            std::free(event);
            if (type == XCB_MAP_NOTIFY)
                return;
        }
        pollfd waiting = {
            .fd = xcb_get_file_descriptor(m_connection), .events = POLLIN, .revents = 0};
        if (poll(&waiting, 1, patience) <= 0)
            qFatal("no window appears");
    }
}
