#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

/// A home directory of its own for as long as the object lives, so that no test touches the
/// configuration directory of whoever runs it.
class TestHome
{
public:
    TestHome();
    ~TestHome();
    TestHome(const TestHome &) = delete;
    TestHome &operator=(const TestHome &) = delete;

    QString path() const;

private:
    QTemporaryDir m_directory;
    QByteArray m_formerHome;
};
