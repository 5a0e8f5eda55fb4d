// The road of an update above the store and the network: the requests that fill
// query slots (F5, F6, a typed address, an address list), the move to a new
// generation, and the drain that merges what the workers finished.
#pragma once

#include "base/data.h"

struct app_t;
struct reader_t;
struct feed_t;

// Moves the generation on and shows it in the panel, so that the view shows what
// is about to come in. The requests below call it at the first request of a run.
void generation_advance(app_t* app, reader_t* reader);

void feed_update(app_t* app, reader_t* reader, feed_t* feed);
void reader_update_all(app_t* app, reader_t* reader);
void reader_update_selected(app_t* app, reader_t* reader);
// One address to one query; a known address is an update of its feed.
void reader_add_address(app_t* app, reader_t* reader, data_t address);
// One query per non-blank line of a text file; a missing file does nothing.
void reader_add_address_list(app_t* app, reader_t* reader, data_t path);

// Called for each document merged, with its address, before the address is given
// back: the tool prints a line for each.
typedef void (*drain_merged_t)(void* context, data_t address);
// Takes every finished slot: failures to the logs and the log panel, documents
// into the reader, the selection found again after each merge. The frame loop
// opens zone queries_check around it.
void queries_drain(app_t* app, reader_t* reader, drain_merged_t merged = nullptr, void* context = nullptr);
