#include "tests/support/galeracluster.h"

#include "tests/support/servertools.h"

#include <csignal>

using namespace servertools;

namespace {

constexpr int stopTimeout = 60'000;
constexpr int launchTries = 3;

/// rsync, which carries the data to the second node, gives up the rights of root on the way.
const passwd *nodeUser()
{
    return serverUser("mysql");
}

} // namespace

GaleraCluster::GaleraCluster()
{
    for (Node &node : m_nodes)
        prepare(node);
    start(m_nodes.front(), "gcomm://");
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
    const passwd *user = nodeUser();
    node.directory = serverDirectory(user);
    const QString owner = user ? QString::fromLocal8Bit(user->pw_name) : QString();
    initializeMariaDbData(node.directory->path(), owner);
}

bool GaleraCluster::launch(Node &node, const QString &clusterAddress)
{
    const QString directory = node.directory->path();
    node.port = freePort();
    node.groupPort = freePort();
    QStringList command =
        asUser(nodeUser(), "KILL") + mariaDbCommand(directory, node.port) +
        words("--binlog-format=ROW --innodb-autoinc-lock-mode=2 --wsrep-on=ON "
              "--wsrep-provider=/usr/lib/galera/libgalera_smm.so "
              "--wsrep-cluster-name=lavkor-test --wsrep-node-address=127.0.0.1 "
              "--wsrep-sst-method=rsync") +
        QStringList{"--wsrep-cluster-address=" + clusterAddress,
                    QString("--wsrep-sst-receive-address=127.0.0.1:%1").arg(freePort()),
                    QString("--wsrep-provider-options=base_port=%1;"
                            "gmcast.listen_addr=tcp://127.0.0.1:%1;"
                            "ist.recv_addr=127.0.0.1:%2;gcache.size=32M")
                        .arg(node.groupPort)
                        .arg(freePort())};
    // The others get the users together with all other data.
    if (&node == &m_nodes.front())
        command += "--init-file=" + directory + "/init.sql";
    node.process = launchServer(command, directory, Dialect::MySql, node.port);
    return node.process != nullptr;
}

void GaleraCluster::start(Node &node, const QString &clusterAddress)
{
    // Another program may take a free port before the server does.
    for (int attempt = 0; attempt < launchTries; ++attempt) {
        if (launch(node, clusterAddress))
            return;
    }
    giveUp(node.directory->path());
}

ConnectionEntry GaleraCluster::entry(int node, const QString &database) const
{
    ConnectionEntry entry;
    entry.name = QStringLiteral("node %1").arg(node);
    entry.dbtype = "mysql";
    entry.dbhostname = QStringLiteral("127.0.0.1:%1").arg(m_nodes.at(node).port);
    entry.dbusername = userName;
    entry.dbpassword = password;
    entry.databasename = database;
    return entry;
}

QString GaleraCluster::client(int node, const QString &database, const QString &statements) const
{
    // A node now and then refuses the first statement of a session as if it were part of a refused
    // transaction. The client takes no notice of it where it sets its character set.
    return servertools::client(Dialect::MySql, database, m_nodes.at(node).port, statements,
                               "\\C utf8mb4\nSET wsrep_sync_wait=15;");
}
