#pragma once

/// The kinds of database that tests run on.
enum class Dialect { Sqlite, MySql, PostgreSql };
