#include "tests/support/galeracluster.h"

#include "tests/support/servertools.h"

#include <QFile>
#include <QTest>

#include <csignal>
#include <pwd.h>
#include <unistd.h>

using namespace servertools;

namespace {

/// The state transfer to the second node takes a few seconds.
constexpr int startTimeout = 120'000;
constexpr int stopTimeout = 60'000;
constexpr int launchTries = 3;

/// rsync, which carries the data to the second node, gives up the rights of root on the way.
const passwd *serverUser()
{
    if (geteuid() != 0)
        return nullptr;
    const passwd *user = getpwnam("mysql");
    return user ? user : getpwnam("nobody");
}

/// Another user's server cannot outlive this program either.
QStringList asServerUser()
{
    QStringList command = {QStringLiteral("setpriv"), QStringLiteral("--pdeathsig"),
                           QStringLiteral("KILL")};
    if (const passwd *user = serverUser()) {
        command +=
            {QStringLiteral("--reuid"), QString::number(user->pw_uid), QStringLiteral("--regid"),
             QString::number(user->pw_gid), QStringLiteral("--clear-groups")};
    }
    return command;
}

} // namespace

GaleraCluster::GaleraCluster()
{
    for (Node &node : m_nodes)
        prepare(node);
    start(m_nodes.front(), QStringLiteral("gcomm://"));
    const QString address = QStringLiteral("gcomm://127.0.0.1:%1").arg(m_nodes.front().groupPort);
    for (int i = 1; i < nodeCount; ++i)
        start(m_nodes.at(i), address);
}

GaleraCluster::~GaleraCluster()
{
    for (Node &node : m_nodes) {
        // The data is thrown away: no need for an orderly end.
        if (node.process && node.process->state() != QProcess::NotRunning) {
            ::kill(static_cast<pid_t>(node.process->processId()), SIGKILL);
            node.process->waitForFinished(stopTimeout);
        }
    }
}

void GaleraCluster::prepare(Node &node)
{
    node.directory = std::make_unique<QTemporaryDir>(QDir::tempPath() + "/lavkor-test-XXXXXX");
    if (!node.directory->isValid())
        qFatal("No temporary directory for a node");
    QString owner;
    if (const passwd *user = serverUser()) {
        owner = QString::fromLocal8Bit(user->pw_name);
        const QByteArray path = node.directory->path().toLocal8Bit();
        if (chown(path.constData(), user->pw_uid, user->pw_gid) != 0)
            qFatal("Cannot hand %s over to %s", path.constData(), user->pw_name);
    }
    initializeMariaDbData(node.directory->path(), owner);
}

bool GaleraCluster::launch(Node &node, const QString &clusterAddress)
{
    const QString directory = node.directory->path();
    node.port = freePort();
    node.groupPort = freePort();
    QStringList command =
        asServerUser() + mariaDbCommand(directory, node.port) +
        QStringList{QStringLiteral("--binlog-format=ROW"),
                    QStringLiteral("--innodb-autoinc-lock-mode=2"),
                    QStringLiteral("--wsrep-on=ON"),
                    QStringLiteral("--wsrep-provider=/usr/lib/galera/libgalera_smm.so"),
                    QStringLiteral("--wsrep-cluster-name=lavkor-test"),
                    QStringLiteral("--wsrep-cluster-address=") + clusterAddress,
                    QStringLiteral("--wsrep-node-address=127.0.0.1"),
                    QStringLiteral("--wsrep-sst-method=rsync"),
                    QStringLiteral("--wsrep-sst-receive-address=127.0.0.1:%1").arg(freePort()),
                    QStringLiteral("--wsrep-provider-options=base_port=%1;"
                                   "gmcast.listen_addr=tcp://127.0.0.1:%1;"
                                   "ist.recv_addr=127.0.0.1:%2;gcache.size=32M")
                        .arg(node.groupPort)
                        .arg(freePort())};
    // The others get the users together with all other data.
    if (&node == &m_nodes.front())
        command += QStringLiteral("--init-file=") + directory + "/init.sql";
    node.process = std::make_unique<QProcess>();
    node.process->setProcessChannelMode(QProcess::MergedChannels);
    node.process->setWorkingDirectory(directory);
    node.process->setStandardOutputFile(directory + "/server.log");
    node.process->start(command.first(), command.mid(1));
    if (!node.process->waitForStarted())
        qFatal("Cannot run %s", qPrintable(command.first()));
    const bool ready = QTest::qWaitFor(
        [&] {
            return node.process->state() == QProcess::NotRunning ||
                   answers(Dialect::MySql, node.port);
        },
        startTimeout);
    return ready && node.process->state() == QProcess::Running;
}

void GaleraCluster::start(Node &node, const QString &clusterAddress)
{
    // Another program may take a free port before the server does.
    for (int attempt = 0; attempt < launchTries; ++attempt) {
        if (launch(node, clusterAddress))
            return;
    }
    QFile log(node.directory->filePath(QStringLiteral("server.log")));
    const QByteArray text = log.open(QIODevice::ReadOnly) ? log.readAll() : QByteArray();
    qFatal("A node of the cluster does not start:\n%s", text.constData());
}

ConnectionEntry GaleraCluster::entry(int node, const QString &database) const
{
    ConnectionEntry entry;
    entry.name = QStringLiteral("node %1").arg(node);
    entry.dbtype = QStringLiteral("mysql");
    entry.dbhostname = QStringLiteral("127.0.0.1:%1").arg(m_nodes.at(node).port);
    entry.dbusername = userName;
    entry.dbpassword = password;
    entry.databasename = database;
    return entry;
}

QString GaleraCluster::client(int node, const QString &database, const QString &statements) const
{
    return servertools::client(Dialect::MySql, database, m_nodes.at(node).port,
                               QStringLiteral("SET wsrep_sync_wait=15; ") + statements);
}
