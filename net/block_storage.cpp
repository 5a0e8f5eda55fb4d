// First-fit block storage with out-of-band nodes.
#include "net/block_storage.h"

#include "base/text.h"

block_storage_t block_storage;

constexpr u64 block_storage_node_size = sizeof(block_storage_node_t);

static u64 block_storage_round(block_storage_t* storage, u64 size) {
    return storage->block_size * ((size + storage->block_size - 1) / storage->block_size);
}

static block_storage_node_t* block_storage_get_node(block_storage_t* storage) {
    if (storage->spare_nodes) {
        block_storage_node_t* node = storage->spare_nodes;
        storage->spare_nodes = node->next;
        return node;
    }
    void* node = data_push(&storage->nodes, block_storage_node_size, 8);
    if (!node) {
        ASSERT(storage->node_memory.used < storage->node_memory.reserved);
        u64 step = storage->commit_size / storage->block_size * block_storage_node_size;
        ASSERT(data_commit(&storage->node_memory, step) != nullptr);
        storage->nodes.reserved = storage->node_memory.used;
        node = data_push(&storage->nodes, block_storage_node_size, 8);
        ASSERT(node);
    }
    return (block_storage_node_t*)node;
}

static void block_storage_release_node(block_storage_t* storage, block_storage_node_t* node) {
    node->next = storage->spare_nodes;
    storage->spare_nodes = node;
}

void block_storage_create(block_storage_t* storage, u64 region_size, u64 commit_size, u64 block_size) {
    ASSERT(memory_page_size != 0 && memory_allocation_granularity != 0);
    ASSERT(region_size % memory_allocation_granularity == 0 && region_size % block_size == 0);
    ASSERT(commit_size % memory_page_size == 0 && commit_size % block_size == 0);
    storage->block_size = block_size;
    storage->commit_size = commit_size;
    storage->memory = data_reserve(region_size);
    ASSERT(data_commit(&storage->memory, commit_size) != nullptr);
    storage->node_memory = data_reserve(region_size / block_size * block_storage_node_size);
    ASSERT(data_commit(&storage->node_memory, commit_size / block_size * block_storage_node_size) != nullptr);
    storage->nodes = data_make(storage->node_memory.used, 0, storage->node_memory.bytes);
    storage->spare_nodes = nullptr;
    // One range covers the whole region, the part not yet committed included.
    block_storage_node_t* node = block_storage_get_node(storage);
    node->size = storage->memory.reserved;
    node->address = storage->memory.bytes;
    node->next = nullptr;
    storage->free_list = node;
}

void* block_storage_allocate(block_storage_t* storage, u64 size) {
    block_storage_node_t** link = &storage->free_list;
    // The requested size, not the rounded one, decides; ranges are whole blocks, so
    // taking the rounded size from a range just smaller than it stays inside.
    while (*link && (*link)->size < size) link = &(*link)->next;
    block_storage_node_t* node = *link;
    if (!node) return nullptr;
    u64 rounded = block_storage_round(storage, size);
    u8* address = node->address;
    u8* new_end = address + rounded;
    u8* committed_end = storage->memory.bytes + storage->memory.used;
    if (new_end > committed_end) {
        u64 lack = (u64)(new_end - committed_end);
        u64 steps = (lack + storage->commit_size - 1) / storage->commit_size;
        ASSERT(data_commit(&storage->memory, steps * storage->commit_size) != nullptr);
    }
    if (node->size <= rounded) {
        *link = node->next;
        block_storage_release_node(storage, node);
    } else {
        node->size -= rounded;
        node->address = new_end;
    }
    return address;
}

data_t block_storage_copy(block_storage_t* storage, data_t text) {
    u8* bytes = (u8*)block_storage_allocate(storage, text.used + 1);
    if (!bytes) return data_t{};
    bytes_copy(bytes, text.bytes, text.used);
    bytes[text.used] = 0;
    return data_make(text.used + 1, text.used, bytes);
}

bool block_storage_contains(block_storage_t* storage, const void* address) {
    const u8* byte = (const u8*)address;
    return byte >= storage->memory.bytes && byte < storage->memory.bytes + storage->memory.used;
}

// A range of its own at the head of the list.
static void block_storage_link_free(block_storage_t* storage, void* address, u64 size) {
    block_storage_node_t* node = block_storage_get_node(storage);
    node->address = (u8*)address;
    node->size = block_storage_round(storage, size);
    node->next = storage->free_list;
    storage->free_list = node;
}

void block_storage_add_free(block_storage_t* storage, void* address, u64 size) {
    // "Freeing memory not allocated by this allocator."
    ASSERT(block_storage_contains(storage, address));
    storage->frees += 1;
    block_storage_link_free(storage, address, size);
}

void block_storage_free(block_storage_t* storage, void* address, u64 size) {
    // "Freeing memory not allocated by this allocator."
    ASSERT(block_storage_contains(storage, address));
    storage->frees += 1;
    u64 rounded = block_storage_round(storage, size);
    u8* first = (u8*)address;
    u8* end = first + rounded;
    block_storage_node_t* merged = storage->free_list;
    for (; merged; merged = merged->next) {
        if (merged->address == end) {
            merged->address = first;
            merged->size += rounded;
            end = merged->address + merged->size;
            break;
        }
        if (merged->address + merged->size == first) {
            merged->size += rounded;
            first = merged->address;
            break;
        }
    }
    if (!merged) {
        block_storage_link_free(storage, address, size);
        return;
    }
    // A second neighbour closes the gap. It is linked out by joining `merged` to
    // its follower directly: nodes between the two drop out of the list, and their
    // ranges stay unused until the next run. Long free lists are rare.
    for (block_storage_node_t* node = merged->next; node; node = node->next) {
        if (node->address == end) {
            merged->size += node->size;
        } else if (node->address + node->size == first) {
            merged->address = node->address;
            merged->size += node->size;
        } else {
            continue;
        }
        merged->next = node->next;
        block_storage_release_node(storage, node);
        break;
    }
}
