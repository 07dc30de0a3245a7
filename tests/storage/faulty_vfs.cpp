// A file system of SQLite's that fails when it is told to: preloaded into the program (LD_PRELOAD), it becomes the
// default one. ORV_FAULT says when: "<call>:<n>:<error>:<once|on>", for instance "write:7:full:on". Calls: open, write,
// sync, truncate, delete, shm. Errors: full, io, short (half of a write is done). After the nth call others of the kind
// fail as well, or not ("once"). ORV_FAULT_COUNT names a file that gets the number of calls when the process ends.
#include <pthread.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Nothing that a constructor would set back after begin() has run.
struct Fault {
    char call[16], error[16];
    long n;
    bool stays;
};

pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
Fault fault;
long calls;
sqlite3_vfs* real;

/// Whether this call of the kind fails.
bool fails(const char* call) {
    if (std::strcmp(fault.call, call) != 0) return false;
    pthread_mutex_lock(&mutex);
    const long number = ++calls;
    pthread_mutex_unlock(&mutex);
    return number == fault.n || (fault.stays && number > fault.n);
}

int error_or(int io_error) {
    return std::strcmp(fault.error, "full") == 0 ? SQLITE_FULL : io_error;
}

/// Ours, with the real one behind it.
struct File {
    sqlite3_file base;
    sqlite3_file* real;
};

sqlite3_file* real_of(sqlite3_file* file) {
    return reinterpret_cast<File*>(file)->real;
}

int close_file(sqlite3_file* file) {
    const int result = real_of(file)->pMethods->xClose(real_of(file));
    std::free(real_of(file));
    return result;
}
int read_file(sqlite3_file* file, void* to, int amount, sqlite3_int64 at) {
    return real_of(file)->pMethods->xRead(real_of(file), to, amount, at);
}
int write_file(sqlite3_file* file, const void* from, int amount, sqlite3_int64 at) {
    if (fails("write")) {
        if (std::strcmp(fault.error, "short") == 0) real_of(file)->pMethods->xWrite(real_of(file), from, amount / 2, at);
        return error_or(SQLITE_IOERR_WRITE);
    }
    return real_of(file)->pMethods->xWrite(real_of(file), from, amount, at);
}
int truncate_file(sqlite3_file* file, sqlite3_int64 size) {
    if (fails("truncate")) return error_or(SQLITE_IOERR_TRUNCATE);
    return real_of(file)->pMethods->xTruncate(real_of(file), size);
}
int sync_file(sqlite3_file* file, int flags) {
    if (fails("sync")) return error_or(SQLITE_IOERR_FSYNC);
    return real_of(file)->pMethods->xSync(real_of(file), flags);
}
int file_size(sqlite3_file* file, sqlite3_int64* size) {
    return real_of(file)->pMethods->xFileSize(real_of(file), size);
}
int lock_file(sqlite3_file* file, int level) {
    return real_of(file)->pMethods->xLock(real_of(file), level);
}
int unlock_file(sqlite3_file* file, int level) {
    return real_of(file)->pMethods->xUnlock(real_of(file), level);
}
int check_reserved(sqlite3_file* file, int* out) {
    return real_of(file)->pMethods->xCheckReservedLock(real_of(file), out);
}
int file_control(sqlite3_file* file, int operation, void* argument) {
    return real_of(file)->pMethods->xFileControl(real_of(file), operation, argument);
}
int sector_size(sqlite3_file* file) {
    return real_of(file)->pMethods->xSectorSize(real_of(file));
}
int characteristics(sqlite3_file* file) {
    return real_of(file)->pMethods->xDeviceCharacteristics(real_of(file));
}
int shm_map(sqlite3_file* file, int region, int size, int extend, void volatile** out) {
    if (fails("shm")) return error_or(SQLITE_IOERR_SHMMAP);
    return real_of(file)->pMethods->xShmMap(real_of(file), region, size, extend, out);
}
int shm_lock(sqlite3_file* file, int offset, int n, int flags) {
    if (fails("shm")) return error_or(SQLITE_IOERR_SHMLOCK);
    return real_of(file)->pMethods->xShmLock(real_of(file), offset, n, flags);
}
void shm_barrier(sqlite3_file* file) {
    real_of(file)->pMethods->xShmBarrier(real_of(file));
}
int shm_unmap(sqlite3_file* file, int remove) {
    return real_of(file)->pMethods->xShmUnmap(real_of(file), remove);
}

/// Version 2: files are not mapped into memory, so that every write is seen.
const sqlite3_io_methods kMethods = {2,          close_file,   read_file,    write_file,     truncate_file,
                                     sync_file,  file_size,    lock_file,    unlock_file,    check_reserved,
                                     file_control, sector_size, characteristics, shm_map,    shm_lock,
                                     shm_barrier, shm_unmap,   nullptr,      nullptr};

int open_file(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* out_flags) {
    file->pMethods = nullptr;
    if (fails("open")) return error_or(SQLITE_CANTOPEN);
    auto* behind = static_cast<sqlite3_file*>(std::calloc(1, static_cast<std::size_t>(real->szOsFile)));
    if (!behind) return SQLITE_NOMEM;
    const int result = real->xOpen(real, name, behind, flags, out_flags);
    if (!behind->pMethods) {
        std::free(behind);
        return result;
    }
    reinterpret_cast<File*>(file)->real = behind;
    file->pMethods = &kMethods;
    return result;
}

int delete_file(sqlite3_vfs*, const char* name, int sync) {
    if (fails("delete")) return error_or(SQLITE_IOERR_DELETE);
    return real->xDelete(real, name, sync);
}

sqlite3_vfs faulty;

__attribute__((constructor)) void begin() {
    const char* wanted = std::getenv("ORV_FAULT");
    if (!wanted) return;
    char stays[16] = "";
    if (std::sscanf(wanted, "%15[^:]:%ld:%15[^:]:%15s", fault.call, &fault.n, fault.error, stays) != 4) std::abort();
    fault.stays = std::strcmp(stays, "on") == 0;
    if (sqlite3_initialize() != SQLITE_OK) std::abort();
    real = sqlite3_vfs_find(nullptr);
    faulty = *real;
    faulty.zName = "faulty";
    faulty.szOsFile = sizeof(File);
    faulty.xOpen = open_file;
    faulty.xDelete = delete_file;
    if (sqlite3_vfs_register(&faulty, 1) != SQLITE_OK) std::abort();
}

__attribute__((destructor)) void end() {
    const char* path = std::getenv("ORV_FAULT_COUNT");
    if (!path) return;
    if (std::FILE* file = std::fopen(path, "w")) {
        std::fprintf(file, "%ld\n", calls);
        std::fclose(file);
    }
}

}  // namespace
