// The store's doors to the decoders of the web's encodings and to block storage.
#include "store/reader_seams.h"

#include "html/encoding.h"
#include "net/block_storage.h"

u32 reader_encoding_from_label(data_t label) { return encoding_from_label(label.bytes, label.used); }

void reader_decode(u32 encoding, const u8* first, const u8* end, u32* codepoint, u32* length, u8* state) {
    u32 second = 0xFFFFFFFF;
    u8 size = 0;
    decoder_error_t error = 0;
    encoding_decode(encoding, first, end, codepoint, &second, &size, state, &error);
    if (error) *codepoint = 0xFFFFFFFF;
    *length = size ? size : 1;
}

void reader_link_target_string_release(data_t old) {
    if (old.bytes && block_storage_contains(&block_storage, old.bytes)) {
        block_storage_add_free(&block_storage, old.bytes, old.reserved);
    }
}
