// The drain of finished downloads: each frame (and the tool's update loop) takes the
// slots a worker has finished, reports failures, and merges documents into the
// reader on the main thread.
#pragma once

struct app_t;
struct reader_t;

// The frame loop opens zone queries_check around it.
void queries_drain(app_t* app, reader_t* reader);
