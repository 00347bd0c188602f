#include "tests/support/testhome.h"

TestHome::TestHome()
    : m_formerHome(qgetenv("HOME"))
{
    if (!m_directory.isValid())
        qFatal("No temporary directory for the home of a test");
    qputenv("HOME", m_directory.path().toLocal8Bit());
}

TestHome::~TestHome()
{
    qputenv("HOME", m_formerHome);
}

QString TestHome::path() const
{
    return m_directory.path();
}
