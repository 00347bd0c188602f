#include "tests/support/testhome.h"

#include <QSettings>

TestHome::TestHome()
    : m_formerHome(qgetenv("HOME"))
{
    if (!m_directory.isValid())
        qFatal("No temporary directory for the home of a test");
    qputenv("HOME", m_directory.path().toLocal8Bit());
    // Qt looks for the home once only.
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_directory.path());
}

TestHome::~TestHome()
{
    qputenv("HOME", m_formerHome);
}

QString TestHome::path() const
{
    return m_directory.path();
}
