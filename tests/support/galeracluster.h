#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <array>
#include <memory>

#include "app/settings.h"

/// A private Galera cluster of two MariaDB nodes on free ports of 127.0.0.1. It is stopped with the
/// object, also when the test program is killed. A cluster that does not come up ends the program.
class GaleraCluster
{
public:
    static constexpr int nodeCount = 2;

    GaleraCluster();
    ~GaleraCluster();
    GaleraCluster(const GaleraCluster &) = delete;
    GaleraCluster &operator=(const GaleraCluster &) = delete;

    /// A settings entry that connects to a database by way of a node (from 0).
    ConnectionEntry entry(int node, const QString &database) const;

    /// Runs statements on a node with the command-line client, behind all that the cluster has
    /// committed so far; see TestServers::client().
    QString client(int node, const QString &database, const QString &statements) const;

private:
    struct Node
    {
        std::unique_ptr<QTemporaryDir> directory;
        std::unique_ptr<QProcess> process;
        quint16 port = 0;
        quint16 groupPort = 0;
    };

    void prepare(Node &node);
    bool launch(Node &node, const QString &clusterAddress);
    void start(Node &node, const QString &clusterAddress);

    std::array<Node, nodeCount> m_nodes;
};
