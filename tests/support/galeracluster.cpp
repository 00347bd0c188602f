#include "tests/support/galeracluster.h"

GaleraCluster::GaleraCluster()
{
    const quint16 firstGroupPort = freePort();
    for (auto &node : m_nodes) {
        // rsync, which carries the data to the second node, gives up the rights of root on the way.
        node = std::make_unique<DatabaseServer>(Dialect::MySql, "mysql");
        const bool isFirst = &node == &m_nodes.front();
        QStringList options =
            words("--binlog-format=ROW --innodb-autoinc-lock-mode=2 --wsrep-on=ON "
                  "--wsrep-provider=/usr/lib/galera/libgalera_smm.so "
                  "--wsrep-cluster-name=lavkor-test --wsrep-node-address=127.0.0.1 "
                  "--wsrep-sst-method=rsync") +
            QStringList{
                isFirst
                    ? QString("--wsrep-cluster-address=gcomm://")
                    : QString("--wsrep-cluster-address=gcomm://127.0.0.1:%1").arg(firstGroupPort),
                QString("--wsrep-sst-receive-address=127.0.0.1:%1").arg(freePort()),
                QString("--wsrep-provider-options=base_port=%1;"
                        "gmcast.listen_addr=tcp://127.0.0.1:%1;"
                        "ist.recv_addr=127.0.0.1:%2;gcache.size=32M")
                    .arg(isFirst ? firstGroupPort : freePort())
                    .arg(freePort())};
        // The others get the users together with all other data.
        if (isFirst)
            options += node->usersOption();
        node->start(options);
    }
}

ConnectionEntry GaleraCluster::entry(int node, const QString &database) const
{
    return m_nodes.at(size_t(node))->entry(database);
}

QString GaleraCluster::client(int node, const QString &database, const QString &statements) const
{
    // A node now and then refuses the first statement of a session as if it were part of a refused
    // transaction. The client takes no notice of it where it sets its character set.
    return databaseClient(Dialect::MySql, database, m_nodes.at(size_t(node))->port(), statements,
                          "\\C utf8mb4\nSET wsrep_sync_wait=15;");
}
