// The key record of both resolver caches and its hashing and equality.
#pragma once

#include <netdb.h>
#include <sys/socket.h>

#include <cstdint>

namespace cairn::net {

constexpr std::size_t kHostField = 1025;   // at most 1,024 characters
constexpr std::size_t kServiceField = 32;  // at most 31 characters

struct KeyRecord {
    char host[kHostField];
    char service[kServiceField];
    addrinfo hints;         // only flags, family, socket type and protocol match
    sockaddr_storage addr;  // reverse table only
    int32_t ni_flags;       // reverse table only
};

// Fill `key` (zeroed first) for a forward lookup; null texts are empty.
void forward_key(KeyRecord &key, const char *host, const char *service, const addrinfo *hints);
// Fill `key` (zeroed first) for a reverse lookup.
void reverse_key(KeyRecord &key, const sockaddr *addr, socklen_t len, int flags);

// An entry of the forward table: its key and its answer (a library chain
// or the negative marker).  The table's key points into the entry, so the
// data destructor alone frees both.
struct ForwardEntry {
    KeyRecord key;
    addrinfo *chain;
};

// A new entry owning `chain` (nullptr on allocation failure; the chain is
// then not taken).
ForwardEntry *forward_entry_new(const KeyRecord &key, addrinfo *chain);
void forward_entry_free(void *entry);
// The table's copy callback: a private copy of the entry's chain (the
// negative marker copies as itself).
void *forward_entry_copy(void *entry);

// A heap copy of `key` (nullptr on allocation failure).
KeyRecord *key_dup(const KeyRecord &key);

// Table callbacks.
uint32_t forward_hash(void *key);
int forward_equal(void *a, void *b);  // 0 when equal
uint32_t reverse_hash(void *key);
int reverse_equal(void *a, void *b);  // 0 when equal
void key_free(void *key);
void *reverse_copy(void *record);

}  // namespace cairn::net
