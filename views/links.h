// Link opening: each feed names one of the reader's ten link targets; a target
// either opens a link at once (the desktop's default handler, or its own command
// line) or queues it to open all its links together later.
#pragma once

#include "base/data.h"

struct reader_t;
struct feed_t;
struct link_target_t;

// The entry point of every link a view opens.
void link_open_for_feed(reader_t* reader, const feed_t* feed, data_t link);
// Opens one link now, without waiting for the program that takes it.
void link_open(data_t link, const link_target_t* target);
// Opens every queued link of the target in one go; with `clear` the queue empties.
void link_queue_open(link_target_t* target, u32 clear);
void link_queue_open_all(reader_t* reader, u32 clear);
// Appends in blocks that grow by 4096 bytes; links are separated by one blank.
void link_queue_append(link_target_t* target, data_t link);
// `link` is a view into the target's queue.
void link_queue_remove(link_target_t* target, data_t link);
void link_queue_clear(link_target_t* target);
// Runs of non-blank bytes; 0 for no target, a target not queueing, or an empty queue.
u32 link_queue_count(const link_target_t* target);
u32 link_queue_count_all(const reader_t* reader);

// Starts `command` + blank + `arguments`, split at blanks with no quoting; an
// empty command opens `arguments` with xdg-open. A failure is one line on the
// log panel's channel.
void link_command_start(data_t command, data_t arguments);
