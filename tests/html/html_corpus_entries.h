// Entries of real feeds (under the test data's html folder) that the strict tree
// accepts whole: the HTML tests check that it does, and the HTML benchmark measures
// them against gumbo.
#pragma once

inline const char* const html_corpus_entries[] = {
    "russcox_content_15.html",        "cloudblog_description_2.html",    "cloudblog_description_6.html",
    "DaringFireball_content_43.html", "DaringFireball_content_45.html",  "monkeydom_description_7.html",
    "atp_description_62.html",        "qemu_content_0.html",             "neverworkintheory_content_0.html",
    "aktuality_description_0.html",   "489_encoded_0.html",              "EMarley_description_0.html",
    "manton_encoded_0.html",          "scriptingNews_description_0.html", "theomnishow_description_0.html",
    "medscape_description_0.html",
};
