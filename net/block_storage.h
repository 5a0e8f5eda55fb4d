// block_storage_t: the general allocator for what is neither per-frame nor of fixed
// size (addresses carried by queries, link-target strings while edited). First fit
// over a list of free ranges kept out of band, rounded to a block size, merged on
// free, committed lazily. Main thread only. No header is kept: a free must be given
// the size of its allocation.
#pragma once

#include "base/data.h"

struct block_storage_node_t {
    u64 size;
    u8* address;
    block_storage_node_t* next;
};
static_assert(sizeof(block_storage_node_t) == 24, "node memory is committed in 24-byte nodes");

struct block_storage_t {
    data_t memory;       // the region; used is the size committed
    data_t node_memory;  // the region of nodes; used is the size committed
    data_t nodes;        // view of node_memory: reserved committed, used pushed
    block_storage_node_t* free_list;    // newest first, in no address order
    block_storage_node_t* spare_nodes;  // released nodes, linked by next
    u64 block_size;
    u64 commit_size;
    u64 frees;  // counts the ranges given back: a refused size may fit once it moved
};

extern block_storage_t block_storage;

constexpr u64 block_storage_region_size = 0x6400000;
constexpr u64 block_storage_commit_size = 0x100000;
constexpr u64 block_storage_block_size = 128;

void block_storage_create(block_storage_t* storage, u64 region_size, u64 commit_size, u64 block_size);
// Null when no free range is large enough.
void* block_storage_allocate(block_storage_t* storage, u64 size);
void block_storage_free(block_storage_t* storage, void* address, u64 size);
// A free without merging.
void block_storage_add_free(block_storage_t* storage, void* address, u64 size);
// A copy of `text` with a zero byte behind it (reserved is length + 1), apart from
// the reader's strings, which move: how addresses travel with the downloads. Null
// bytes when no free range is large enough; the caller says so.
data_t block_storage_copy(block_storage_t* storage, data_t text);
// True for addresses in the committed part: tells memory owned here from literals
// and from the reader's strings.
bool block_storage_contains(block_storage_t* storage, const void* address);
