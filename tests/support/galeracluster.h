#pragma once

#include <array>
#include <memory>

#include "tests/support/databaseserver.h"

/// A private Galera cluster of two MariaDB nodes on free ports of 127.0.0.1. It is stopped with the
/// object, also when the test program is killed. A cluster that does not come up ends the program.
class GaleraCluster
{
public:
    static constexpr int nodeCount = 2;

    GaleraCluster();

    /// A settings entry that connects to a database by way of a node (from 0).
    ConnectionEntry entry(int node, const QString &database) const;

    /// Runs statements on a node with the command-line client, behind all that the cluster has
    /// committed so far; see TestServers::client().
    QString client(int node, const QString &database, const QString &statements) const;

private:
    std::array<std::unique_ptr<DatabaseServer>, nodeCount> m_nodes;
};
