// The vocabulary of the HTML parser: its elements and attributes with their flags
// and allowed pairs, the character sets of the tokenizer, and the error numbering
// with the texts that the report prints. Anything not named here doesn't exist for
// the parser.
#pragma once

#include "base/data.h"

// An element of the parser's vocabulary; 0 marks the synthetic root.
typedef u8 html_element_t;
enum : u8 {
    html_element_invalid = 0,
    html_element_html = 1,
    html_element_head = 2,
    html_element_title = 3,
    html_element_base = 4,
    html_element_link = 5,
    html_element_meta = 6,
    html_element_style = 7,
    html_element_body = 8,
    html_element_article = 9,
    html_element_section = 10,
    html_element_nav = 11,
    html_element_aside = 12,
    html_element_h1 = 13,
    html_element_h2 = 14,
    html_element_h3 = 15,
    html_element_h4 = 16,
    html_element_h5 = 17,
    html_element_h6 = 18,
    html_element_header = 19,
    html_element_footer = 20,
    html_element_p = 21,
    html_element_address = 22,
    html_element_hr = 23,
    html_element_pre = 24,
    html_element_blockquote = 25,
    html_element_ol = 26,
    html_element_ul = 27,
    html_element_li = 28,
    html_element_dl = 29,
    html_element_dt = 30,
    html_element_dd = 31,
    html_element_figure = 32,
    html_element_figcaption = 33,
    html_element_main = 34,
    html_element_div = 35,
    html_element_a = 36,
    html_element_em = 37,
    html_element_strong = 38,
    html_element_small = 39,
    html_element_s = 40,
    html_element_cite = 41,
    html_element_q = 42,
    html_element_dfn = 43,
    html_element_abbr = 44,
    html_element_ruby = 45,
    html_element_rb = 46,
    html_element_rt = 47,
    html_element_rtc = 48,
    html_element_rp = 49,
    html_element_data = 50,
    html_element_time = 51,
    html_element_code = 52,
    html_element_var = 53,
    html_element_samp = 54,
    html_element_kbd = 55,
    html_element_sub = 56,
    html_element_sup = 57,
    html_element_i = 58,
    html_element_b = 59,
    html_element_u = 60,
    html_element_mark = 61,
    html_element_bdi = 62,
    html_element_bdo = 63,
    html_element_span = 64,
    html_element_br = 65,
    html_element_wbr = 66,
    html_element_ins = 67,
    html_element_del = 68,
    html_element_picture = 69,
    html_element_source = 70,
    html_element_img = 71,
    html_element_iframe = 72,
    html_element_embed = 73,
    html_element_object = 74,
    html_element_param = 75,
    html_element_video = 76,
    html_element_audio = 77,
    html_element_track = 78,
    html_element_map = 79,
    html_element_area = 80,
    html_element_math = 81,
    html_element_svg = 82,
    html_element_table = 83,
    html_element_caption = 84,
    html_element_colgroup = 85,
    html_element_col = 86,
    html_element_tbody = 87,
    html_element_thead = 88,
    html_element_tfoot = 89,
    html_element_tr = 90,
    html_element_td = 91,
    html_element_th = 92,
    html_element_form = 93,
    html_element_label = 94,
    html_element_input = 95,
    html_element_button = 96,
    html_element_select = 97,
    html_element_datalist = 98,
    html_element_optgroup = 99,
    html_element_option = 100,
    html_element_textarea = 101,
    html_element_output = 102,
    html_element_progress = 103,
    html_element_meter = 104,
    html_element_fieldset = 105,
    html_element_legend = 106,
    html_element_details = 107,
    html_element_summary = 108,
    html_element_dialog = 109,
    html_element_script = 110,
    html_element_noscript = 111,
    html_element_template = 112,
    html_element_canvas = 113,
};
constexpr u32 html_element_count = 114;  // with the root's 0

enum : u8 {
    html_element_flag_phrasing = 1,  // inline: text around it flows on
    html_element_flag_void = 2,      // no children, never on the open stack
};

// Values 1 to 77 are the global attributes, allowed on every element.
typedef u8 html_attribute_name_t;
enum : u8 {
    html_attribute_invalid = 0,
    html_attribute_accesskey = 1,
    html_attribute_class = 2,
    html_attribute_contenteditable = 3,
    html_attribute_dir = 4,
    html_attribute_draggable = 5,
    html_attribute_hidden = 6,
    html_attribute_id = 7,
    html_attribute_lang = 8,
    html_attribute_spellcheck = 9,
    html_attribute_style = 10,
    html_attribute_tabindex = 11,
    html_attribute_title = 12,
    html_attribute_translate = 13,
    html_attribute_onabort = 14,
    html_attribute_onauxclick = 15,
    html_attribute_onblur = 16,
    html_attribute_oncancel = 17,
    html_attribute_oncanplay = 18,
    html_attribute_oncanplaythrough = 19,
    html_attribute_onchange = 20,
    html_attribute_onclick = 21,
    html_attribute_onclose = 22,
    html_attribute_oncuechange = 23,
    html_attribute_ondblclick = 24,
    html_attribute_ondrag = 25,
    html_attribute_ondragend = 26,
    html_attribute_ondragenter = 27,
    html_attribute_ondragexit = 28,
    html_attribute_ondragleave = 29,
    html_attribute_ondragover = 30,
    html_attribute_ondragstart = 31,
    html_attribute_ondrop = 32,
    html_attribute_ondurationchange = 33,
    html_attribute_onemptied = 34,
    html_attribute_onended = 35,
    html_attribute_onerror = 36,
    html_attribute_onfocus = 37,
    html_attribute_oninput = 38,
    html_attribute_oninvalid = 39,
    html_attribute_onkeydown = 40,
    html_attribute_onkeypress = 41,
    html_attribute_onkeyup = 42,
    html_attribute_onload = 43,
    html_attribute_onloadeddata = 44,
    html_attribute_onloadedmetadata = 45,
    html_attribute_onloadend = 46,
    html_attribute_onloadstart = 47,
    html_attribute_onmousedown = 48,
    html_attribute_onmouseenter = 49,
    html_attribute_onmouseleave = 50,
    html_attribute_onmousemove = 51,
    html_attribute_onmouseout = 52,
    html_attribute_onmouseover = 53,
    html_attribute_onmouseup = 54,
    html_attribute_onwheel = 55,
    html_attribute_onpause = 56,
    html_attribute_onplay = 57,
    html_attribute_onplaying = 58,
    html_attribute_onprogress = 59,
    html_attribute_onratechange = 60,
    html_attribute_onreset = 61,
    html_attribute_onresize = 62,
    html_attribute_onscroll = 63,
    html_attribute_onseeked = 64,
    html_attribute_onseeking = 65,
    html_attribute_onselect = 66,
    html_attribute_onshow = 67,
    html_attribute_onstalled = 68,
    html_attribute_onsubmit = 69,
    html_attribute_onsuspend = 70,
    html_attribute_ontimeupdate = 71,
    html_attribute_ontoggle = 72,
    html_attribute_onvolumechange = 73,
    html_attribute_onwaiting = 74,
    html_attribute_oncut = 75,
    html_attribute_oncopy = 76,
    html_attribute_onpaste = 77,
    html_attribute_manifest = 78,
    html_attribute_href = 79,
    html_attribute_target = 80,
    html_attribute_crossorigin = 81,
    html_attribute_rel = 82,
    html_attribute_rev = 83,
    html_attribute_media = 84,
    html_attribute_nonce = 85,
    html_attribute_hreflang = 86,
    html_attribute_type = 87,
    html_attribute_referrerpolicy = 88,
    html_attribute_sizes = 89,
    html_attribute_name = 90,
    html_attribute_http_equiv = 91,
    html_attribute_content = 92,
    html_attribute_charset = 93,
    html_attribute_onafterprint = 94,
    html_attribute_onbeforeprint = 95,
    html_attribute_onbeforeunload = 96,
    html_attribute_onhashchange = 97,
    html_attribute_onlanguagechange = 98,
    html_attribute_onmessage = 99,
    html_attribute_onoffline = 100,
    html_attribute_ononline = 101,
    html_attribute_onpagehide = 102,
    html_attribute_onpageshow = 103,
    html_attribute_onpopstate = 104,
    html_attribute_onrejectionhandled = 105,
    html_attribute_onstorage = 106,
    html_attribute_onunhandledrejection = 107,
    html_attribute_onunload = 108,
    html_attribute_cite = 109,
    html_attribute_reversed = 110,
    html_attribute_start = 111,
    html_attribute_value = 112,
    html_attribute_download = 113,
    html_attribute_datetime = 114,
    html_attribute_src = 115,
    html_attribute_srcset = 116,
    html_attribute_alt = 117,
    html_attribute_usemap = 118,
    html_attribute_ismap = 119,
    html_attribute_width = 120,
    html_attribute_height = 121,
    html_attribute_longdesc = 122,
    html_attribute_srcdoc = 123,
    html_attribute_sandbox = 124,
    html_attribute_allowfullscreen = 125,
    html_attribute_allowpaymentrequest = 126,
    html_attribute_data = 127,
    html_attribute_typemustmatch = 128,
    html_attribute_form = 129,
    html_attribute_poster = 130,
    html_attribute_preload = 131,
    html_attribute_autoplay = 132,
    html_attribute_loop = 133,
    html_attribute_muted = 134,
    html_attribute_controls = 135,
    html_attribute_kind = 136,
    html_attribute_srclang = 137,
    html_attribute_label = 138,
    html_attribute_default = 139,
    html_attribute_coords = 140,
    html_attribute_shape = 141,
    html_attribute_border = 142,
    html_attribute_span = 143,
    html_attribute_rowgroup = 144,
    html_attribute_row = 145,
    html_attribute_colspan = 146,
    html_attribute_rowspan = 147,
    html_attribute_headers = 148,
    html_attribute_cell = 149,
    html_attribute_scope = 150,
    html_attribute_abbr = 151,
    html_attribute_columnheader = 152,
    html_attribute_rowheader = 153,
    html_attribute_accept_charset = 154,
    html_attribute_action = 155,
    html_attribute_autocomplete = 156,
    html_attribute_enctype = 157,
    html_attribute_method = 158,
    html_attribute_novalidate = 159,
    html_attribute_for = 160,
    html_attribute_accept = 161,
    html_attribute_autofocus = 162,
    html_attribute_checked = 163,
    html_attribute_dirname = 164,
    html_attribute_disabled = 165,
    html_attribute_formaction = 166,
    html_attribute_formenctype = 167,
    html_attribute_formmethod = 168,
    html_attribute_formnovalidate = 169,
    html_attribute_formtarget = 170,
    html_attribute_list = 171,
    html_attribute_max = 172,
    html_attribute_maxlength = 173,
    html_attribute_min = 174,
    html_attribute_minlength = 175,
    html_attribute_multiple = 176,
    html_attribute_pattern = 177,
    html_attribute_placeholder = 178,
    html_attribute_readonly = 179,
    html_attribute_required = 180,
    html_attribute_size = 181,
    html_attribute_step = 182,
    html_attribute_selected = 183,
    html_attribute_cols = 184,
    html_attribute_rows = 185,
    html_attribute_wrap = 186,
    html_attribute_low = 187,
    html_attribute_high = 188,
    html_attribute_optimum = 189,
    html_attribute_open = 190,
    html_attribute_async = 191,
    html_attribute_defer = 192,
};
constexpr u32 html_attribute_name_count = 193;
constexpr u32 html_attribute_last_global = 77;

typedef u32 html_parser_error_t;
enum : u32 {
    html_parser_error_none = 0,
    html_tokenizer_error_eof = 1,
    html_tokenizer_error_eof_quoted_attribute_value = 2,
    html_tokenizer_error_quoted_attribute_value_missing_the_closing_quote = 3,
    html_tokenizer_error_attribute_value_not_followed_by_a_valid_character = 4,
    html_tokenizer_error_empty_attribute_not_followed_by_a_valid_character = 5,
    html_tokenizer_error_invalid_text_character = 6,
    html_tokenizer_error_invalid_text_character_in_cdata = 7,
    html_tokenizer_error_invalid_text_character_in_attribute_name = 8,
    html_tokenizer_error_invalid_character_in_unquoted_attribute_value = 9,
    html_tokenizer_error_expected_greater_than = 10,
    html_tokenizer_error_invalid_text_character_in_tag_name = 11,
    html_tokenizer_error_invalid_markup_syntax = 12,
    html_tokenizer_error_doctype_not_followed_by_a_space = 13,
    html_tokenizer_error_invalid_doctype = 14,
    html_tokenizer_error_comment_starts_with_invalid_character_sequence = 15,
    html_tokenizer_error_comment_contains_invalid_character_sequence = 16,
    html_tokenizer_error_invalid_text_character_in_comment = 17,
    html_tokenizer_error_ambiguous_ampersand_in_attribute_value = 18,
    html_tokenizer_error_invalid_string_in_raw_element = 19,
    html_tokenizer_error_invalid_string_in_escapable_raw_element = 20,
    html_tokenizer_error_ambiguous_ampersand_in_escapable_raw_element = 21,
    html_tokenizer_error_invalid_encoding_name = 22,
    html_tokenizer_error_not_enough_memory = 23,
    html_tree_construction_error_element_invalid_start_name = 24,
    html_tree_construction_error_element_invalid_end_name = 25,
    html_tree_construction_error_element_unexpected_end = 26,
    html_tree_construction_error_element_end_with_no_open_element = 27,
    html_tree_construction_error_attribute_invalid_name = 28,
    html_tree_construction_error_attribute_not_allowed_in_element = 29,
    html_tree_construction_error_attribute_name_already_present = 30,
    html_tree_construction_error_unclosed_tags = 31,
    html_tree_construction_error_not_enough_memory = 32,
    html_tree_traversal_error_not_enough_memory = 33,
};
constexpr u32 html_parser_error_count = 34;

extern const char* const html_element_names[html_element_count];
extern const u8 html_element_name_lengths[html_element_count];
extern const u8 html_element_flags[html_element_count];
extern const char* const html_attribute_names[html_attribute_name_count];
extern const u8 html_attribute_name_lengths[html_attribute_name_count];
// Attributes allowed on an element beyond the global ones:
// html_element_attributes[offset[element] .. offset[element] + count[element]).
extern const html_attribute_name_t html_element_attributes[];
extern const u16 html_element_attribute_offsets[html_element_count];
extern const u8 html_element_attribute_counts[html_element_count];
// The names of all error values, in order, for tools.
extern const char* const html_parser_error_names[html_parser_error_count];
// The texts that the tokenizer's report prints; null where an error has none.
extern const char* const html_parser_error_messages[html_parser_error_count];

inline bool html_element_is(html_element_t element, u8 flag) { return (html_element_flags[element] & flag) != 0; }

// Exact, case-sensitive lookups with a length test first; 0 when unknown.
html_element_t html_element_lookup(const u8* name, u64 size);
html_attribute_name_t html_attribute_lookup(const u8* name, u64 size);
bool html_attribute_allowed(html_element_t element, html_attribute_name_t name);

// The character sets of the tokenizer, as arrays of code points. The tokenizer
// tests membership through the predicates below, which give the same answers
// without a walk over the arrays for every character.
constexpr u32 char_set_space_count = 5;
constexpr u32 char_set_invalid_text_count = 127;
constexpr u32 char_set_attribute_name_stop_count = 142;
constexpr u32 char_set_invalid_reference_count = 128;
extern const u32 char_set_space[char_set_space_count];
extern const u32 char_set_invalid_text[char_set_invalid_text_count];
extern const u32 char_set_attribute_name_stop[char_set_attribute_name_stop_count];
extern const u32 char_set_invalid_reference[char_set_invalid_reference_count];

// 32, 9, 10, 12, 13: no vertical tab.
inline bool hp_is_space(u32 c) { return c == 32 || c == 10 || c == 9 || c == 13 || c == 12; }
// Noncharacters: U+FDD0 to U+FDEF and the last two code points of every plane.
inline bool hp_is_noncharacter(u32 c) {
    return (c >= 0xFDD0 && c <= 0xFDEF) || ((c & 0xFFFE) == 0xFFFE && c <= 0x10FFFF);
}
// Controls other than white space, and noncharacters.
inline bool hp_is_invalid_text(u32 c) {
    if (c < 32) return c != 9 && c != 10 && c != 12 && c != 13;
    if (c < 127) return false;
    if (c <= 159) return true;
    return c >= 0xFDD0 && hp_is_noncharacter(c);
}
// What ends an attribute name: white space, controls, noncharacters and "'>/=.
inline bool hp_is_attribute_name_stop(u32 c) {
    if (c <= 32) return true;
    if (c < 127) return c == '"' || c == '\'' || c == '>' || c == '/' || c == '=';
    if (c <= 159) return true;
    return c >= 0xFDD0 && hp_is_noncharacter(c);
}
// What no numeric character reference may give: CR and the invalid text set.
inline bool hp_is_invalid_reference(u32 c) { return c == 13 || hp_is_invalid_text(c); }
