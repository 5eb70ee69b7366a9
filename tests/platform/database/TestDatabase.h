#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include <gtest/gtest.h>
#include <sys/types.h>

#include "platform/database/Database.h"

namespace MediaServer {

/// A real PostgreSQL cluster of this process alone: Unix socket in a short temporary directory, no TCP, the media
/// schema applied, role "admin", database "mediaserver". PGHOST of the process names it, so code under test finds it as
/// usual.
///
/// A guardian process stops the server and removes the directory when this process ends, however it ends.
class TestDatabase {
public:
    /// The cluster of this test program, started at the first call. Throws std::runtime_error when it cannot start.
    static TestDatabase& Shared();

    TestDatabase(const TestDatabase&) = delete;
    TestDatabase& operator=(const TestDatabase&) = delete;

    /// A connection of the fixture's own.
    PGconn* Connection();
    /// Runs a script of statements and raises the library's generation; a failure fails the current test.
    void Execute(const std::string& sql);
    /// First column of the first row as text; empty when there is no row.
    std::string Value(const std::string& sql);
    /// Adds a file with only the columns given as SQL ("title, artist", "'A', 'B'"). @return its row id.
    std::int32_t Insert(const std::string& table, const std::string& columns, const std::string& values);
    /// Empties all tables, restarts the row ids from 1 and raises the generation.
    void Clear();

    void Stop();
    void Start();
    /// The socket directory, which PGHOST names.
    const std::string& Directory() const { return directory_; }

private:
    TestDatabase();
    ~TestDatabase();
    void StartGuardian();
    void Create();

    std::string directory_;
    FILE* lifeline_ = nullptr;  ///< closing it, or dying, tells the guardian to clean up
    PGconn* connection_ = nullptr;
};

/// Each test starts with an empty library.
class DatabaseTest : public ::testing::Test {
protected:
    DatabaseTest() : database(TestDatabase::Shared()) { database.Clear(); }
    TestDatabase& database;
};

}  // namespace MediaServer
