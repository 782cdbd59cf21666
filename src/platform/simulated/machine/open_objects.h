#pragma once

#include "platform/simulated/machine/drive.h"
#include "platform/simulated/packages/package_database.h"
#include "platform/types.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// What a process holds open: each kind of object that a call gives out and another takes back.
namespace platform::simulated {

struct OpenKey {
    std::u16string path;
    DWORD access = 0;
    std::vector<std::u16string> subKeys;  ///< their names, since an enumeration began
};

/// A text-mode file that is open for appending, with what has not yet reached the drive.
struct OpenStream {
    std::u16string path;
    std::string held;
};

/// A search through a directory: the names of all entries that fit, and which one is the next.
struct OpenSearch {
    std::u16string directory;
    std::vector<std::u16string> names;
    std::size_t next = 0;
};

/// A package that is open as a database; its file cannot be deleted meanwhile.
struct OpenDatabase {
    std::u16string path;
    std::shared_ptr<const PackageDatabase> database;  ///< null if only a reading is known
    PackageReading reading;
};

/// A prepared query. It delivers rows once it has been executed.
struct OpenView {
    OpenDatabase source;
    std::shared_ptr<const QueryResult> result;
    bool isExecuted = false;
    std::size_t nextRow = 0;
};

struct OpenRecord {
    OpenView view;
    std::size_t row = 0;
};

/// A process, a thread of one, a token, a snapshot of the processes or a file that is open.
struct OpenHandle {
    enum class Kind { Process, Thread, Token, Snapshot, File };  ///< in the records of calls too
    Kind kind = Kind::Process;
    DWORD access = 0;
    DWORD processId = 0;                         ///< of a process or thread
    DWORD session = 0;                           ///< of a token
    std::u16string account;                      ///< of a token
    std::size_t next = 0;                        ///< place in a snapshot or file
    std::u16string path;                         ///< of a file
    std::shared_ptr<const std::string> content;  ///< of a file
};

/// A piece of memory that a call gave and another takes back.
struct OpenBlock {
    enum class Kind { Heap, Sid, SessionList, Local };
    Kind kind = Kind::Heap;
    std::shared_ptr<std::byte[]> bytes;
};

/// What the running process holds open, by handle or address.
struct OpenObjects {
    std::map<std::uintptr_t, OpenKey> keys;
    std::map<std::uintptr_t, OpenStream> streams;
    std::map<std::uintptr_t, std::u16string> modules;
    std::map<std::uintptr_t, int> locales;  ///< their categories
    std::map<std::uintptr_t, OpenSearch> searches;
    std::map<std::uintptr_t, OpenDatabase> databases;
    std::map<std::uintptr_t, OpenView> views;
    std::map<std::uintptr_t, OpenRecord> records;
    std::map<std::uintptr_t, OpenHandle> handles;
    std::map<std::uintptr_t, OpenBlock> blocks;

    [[nodiscard]] std::size_t Count() const {
        return keys.size() + streams.size() + modules.size() + locales.size() + searches.size() +
               databases.size() + views.size() + records.size() + handles.size() + blocks.size();
    }
};

}  // namespace platform::simulated
