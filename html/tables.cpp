// The element and attribute tables, the allowed attributes by element, the
// character sets and the error names and texts.
#include "html/tables.h"

constexpr const char* html_element_names[html_element_count] = {
    "invalid",
    "html",
    "head",
    "title",
    "base",
    "link",
    "meta",
    "style",
    "body",
    "article",
    "section",
    "nav",
    "aside",
    "h1",
    "h2",
    "h3",
    "h4",
    "h5",
    "h6",
    "header",
    "footer",
    "p",
    "address",
    "hr",
    "pre",
    "blockquote",
    "ol",
    "ul",
    "li",
    "dl",
    "dt",
    "dd",
    "figure",
    "figcaption",
    "main",
    "div",
    "a",
    "em",
    "strong",
    "small",
    "s",
    "cite",
    "q",
    "dfn",
    "abbr",
    "ruby",
    "rb",
    "rt",
    "rtc",
    "rp",
    "data",
    "time",
    "code",
    "var",
    "samp",
    "kbd",
    "sub",
    "sup",
    "i",
    "b",
    "u",
    "mark",
    "bdi",
    "bdo",
    "span",
    "br",
    "wbr",
    "ins",
    "del",
    "picture",
    "source",
    "img",
    "iframe",
    "embed",
    "object",
    "param",
    "video",
    "audio",
    "track",
    "map",
    "area",
    "math",
    "svg",
    "table",
    "caption",
    "colgroup",
    "col",
    "tbody",
    "thead",
    "tfoot",
    "tr",
    "td",
    "th",
    "form",
    "label",
    "input",
    "button",
    "select",
    "datalist",
    "optgroup",
    "option",
    "textarea",
    "output",
    "progress",
    "meter",
    "fieldset",
    "legend",
    "details",
    "summary",
    "dialog",
    "script",
    "noscript",
    "template",
    "canvas",
};

constexpr u8 html_element_name_lengths[html_element_count] = {
    7,
    4, 4, 5, 4, 4, 4, 5, 4, 7, 7, 3, 5, 2, 2, 2, 2, 2, 2, 6, 6, 1, 7, 2, 3, 10, 2, 2, 2, 2, 2, 2, 6, 10, 4, 3, 1, 2, 6, 5, 1, 4, 1, 3, 4, 4, 2, 2, 3, 2, 4, 4, 4, 3, 4, 3, 3, 3, 1, 1, 1, 4, 3, 3, 4, 2, 3, 3, 3, 7, 6, 3, 6, 5, 6, 5, 5, 5, 5, 3, 4, 4, 3, 5, 7, 8, 3, 5, 5, 5, 2, 2, 2, 4, 5, 5, 6, 6, 8, 8, 6, 8, 6, 8, 5, 8, 6, 7, 7, 6, 6, 8, 8, 6,
};

const u8 html_element_flags[html_element_count] = {
    0,  // root
    0,  // html
    0,  // head
    0,  // title
    html_element_flag_void,  // base
    html_element_flag_phrasing | html_element_flag_void,  // link
    html_element_flag_void,  // meta
    0,  // style
    0,  // body
    0,  // article
    0,  // section
    0,  // nav
    0,  // aside
    0,  // h1
    0,  // h2
    0,  // h3
    0,  // h4
    0,  // h5
    0,  // h6
    0,  // header
    0,  // footer
    0,  // p
    0,  // address
    html_element_flag_void,  // hr
    0,  // pre
    0,  // blockquote
    0,  // ol
    0,  // ul
    0,  // li
    0,  // dl
    0,  // dt
    0,  // dd
    0,  // figure
    0,  // figcaption
    0,  // main
    0,  // div
    html_element_flag_phrasing,  // a
    html_element_flag_phrasing,  // em
    html_element_flag_phrasing,  // strong
    html_element_flag_phrasing,  // small
    html_element_flag_phrasing,  // s
    html_element_flag_phrasing,  // cite
    html_element_flag_phrasing,  // q
    html_element_flag_phrasing,  // dfn
    html_element_flag_phrasing,  // abbr
    html_element_flag_phrasing,  // ruby
    0,  // rb
    0,  // rt
    0,  // rtc
    0,  // rp
    html_element_flag_phrasing,  // data
    html_element_flag_phrasing,  // time
    html_element_flag_phrasing,  // code
    html_element_flag_phrasing,  // var
    html_element_flag_phrasing,  // samp
    html_element_flag_phrasing,  // kbd
    html_element_flag_phrasing,  // sub
    html_element_flag_phrasing,  // sup
    html_element_flag_phrasing,  // i
    html_element_flag_phrasing,  // b
    html_element_flag_phrasing,  // u
    html_element_flag_phrasing,  // mark
    html_element_flag_phrasing,  // bdi
    html_element_flag_phrasing,  // bdo
    html_element_flag_phrasing,  // span
    html_element_flag_phrasing | html_element_flag_void,  // br
    html_element_flag_phrasing | html_element_flag_void,  // wbr
    html_element_flag_phrasing,  // ins
    html_element_flag_phrasing,  // del
    html_element_flag_phrasing,  // picture
    html_element_flag_void,  // source
    html_element_flag_phrasing | html_element_flag_void,  // img
    html_element_flag_phrasing,  // iframe
    html_element_flag_phrasing | html_element_flag_void,  // embed
    html_element_flag_phrasing,  // object
    html_element_flag_void,  // param
    html_element_flag_phrasing,  // video
    html_element_flag_phrasing,  // audio
    html_element_flag_void,  // track
    html_element_flag_phrasing,  // map
    html_element_flag_phrasing | html_element_flag_void,  // area
    html_element_flag_phrasing,  // math
    html_element_flag_phrasing,  // svg
    0,  // table
    0,  // caption
    0,  // colgroup
    html_element_flag_void,  // col
    0,  // tbody
    0,  // thead
    0,  // tfoot
    0,  // tr
    0,  // td
    0,  // th
    0,  // form
    html_element_flag_phrasing,  // label
    html_element_flag_phrasing | html_element_flag_void,  // input
    html_element_flag_phrasing,  // button
    html_element_flag_phrasing,  // select
    html_element_flag_phrasing,  // datalist
    0,  // optgroup
    0,  // option
    html_element_flag_phrasing,  // textarea
    html_element_flag_phrasing,  // output
    html_element_flag_phrasing,  // progress
    html_element_flag_phrasing,  // meter
    0,  // fieldset
    0,  // legend
    0,  // details
    0,  // summary
    0,  // dialog
    html_element_flag_phrasing,  // script
    html_element_flag_phrasing,  // noscript
    html_element_flag_phrasing,  // template
    html_element_flag_phrasing,  // canvas
};

constexpr const char* html_attribute_names[html_attribute_name_count] = {
    "invalid",
    "accesskey",
    "class",
    "contenteditable",
    "dir",
    "draggable",
    "hidden",
    "id",
    "lang",
    "spellcheck",
    "style",
    "tabindex",
    "title",
    "translate",
    "onabort",
    "onauxclick",
    "onblur",
    "oncancel",
    "oncanplay",
    "oncanplaythrough",
    "onchange",
    "onclick",
    "onclose",
    "oncuechange",
    "ondblclick",
    "ondrag",
    "ondragend",
    "ondragenter",
    "ondragexit",
    "ondragleave",
    "ondragover",
    "ondragstart",
    "ondrop",
    "ondurationchange",
    "onemptied",
    "onended",
    "onerror",
    "onfocus",
    "oninput",
    "oninvalid",
    "onkeydown",
    "onkeypress",
    "onkeyup",
    "onload",
    "onloadeddata",
    "onloadedmetadata",
    "onloadend",
    "onloadstart",
    "onmousedown",
    "onmouseenter",
    "onmouseleave",
    "onmousemove",
    "onmouseout",
    "onmouseover",
    "onmouseup",
    "onwheel",
    "onpause",
    "onplay",
    "onplaying",
    "onprogress",
    "onratechange",
    "onreset",
    "onresize",
    "onscroll",
    "onseeked",
    "onseeking",
    "onselect",
    "onshow",
    "onstalled",
    "onsubmit",
    "onsuspend",
    "ontimeupdate",
    "ontoggle",
    "onvolumechange",
    "onwaiting",
    "oncut",
    "oncopy",
    "onpaste",
    "manifest",
    "href",
    "target",
    "crossorigin",
    "rel",
    "rev",
    "media",
    "nonce",
    "hreflang",
    "type",
    "referrerpolicy",
    "sizes",
    "name",
    "http-equiv",
    "content",
    "charset",
    "onafterprint",
    "onbeforeprint",
    "onbeforeunload",
    "onhashchange",
    "onlanguagechange",
    "onmessage",
    "onoffline",
    "ononline",
    "onpagehide",
    "onpageshow",
    "onpopstate",
    "onrejectionhandled",
    "onstorage",
    "onunhandledrejection",
    "onunload",
    "cite",
    "reversed",
    "start",
    "value",
    "download",
    "datetime",
    "src",
    "srcset",
    "alt",
    "usemap",
    "ismap",
    "width",
    "height",
    "longdesc",
    "srcdoc",
    "sandbox",
    "allowfullscreen",
    "allowpaymentrequest",
    "data",
    "typemustmatch",
    "form",
    "poster",
    "preload",
    "autoplay",
    "loop",
    "muted",
    "controls",
    "kind",
    "srclang",
    "label",
    "default",
    "coords",
    "shape",
    "border",
    "span",
    "rowgroup",
    "row",
    "colspan",
    "rowspan",
    "headers",
    "cell",
    "scope",
    "abbr",
    "columnheader",
    "rowheader",
    "accept-charset",
    "action",
    "autocomplete",
    "enctype",
    "method",
    "novalidate",
    "for",
    "accept",
    "autofocus",
    "checked",
    "dirname",
    "disabled",
    "formaction",
    "formenctype",
    "formmethod",
    "formnovalidate",
    "formtarget",
    "list",
    "max",
    "maxlength",
    "min",
    "minlength",
    "multiple",
    "pattern",
    "placeholder",
    "readonly",
    "required",
    "size",
    "step",
    "selected",
    "cols",
    "rows",
    "wrap",
    "low",
    "high",
    "optimum",
    "open",
    "async",
    "defer",
};

constexpr u8 html_attribute_name_lengths[html_attribute_name_count] = {
    7,
    9, 5, 15, 3, 9, 6, 2, 4, 10, 5, 8, 5, 9, 7, 10, 6,
    8, 9, 16, 8, 7, 7, 11, 10, 6, 9, 11, 10, 11, 10, 11, 6,
    16, 9, 7, 7, 7, 7, 9, 9, 10, 7, 6, 12, 16, 9, 11, 11,
    12, 12, 11, 10, 11, 9, 7, 7, 6, 9, 10, 12, 7, 8, 8, 8,
    9, 8, 6, 9, 8, 9, 12, 8, 14, 9, 5, 6, 7, 8, 4, 6,
    11, 3, 3, 5, 5, 8, 4, 14, 5, 4, 10, 7, 7, 12, 13, 14,
    12, 16, 9, 9, 8, 10, 10, 10, 18, 9, 20, 8, 4, 8, 5, 5,
    8, 8, 3, 6, 3, 6, 5, 5, 6, 8, 6, 7, 15, 19, 4, 13,
    4, 6, 7, 8, 4, 5, 8, 4, 7, 5, 7, 6, 5, 6, 4, 8,
    3, 7, 7, 7, 4, 5, 4, 12, 9, 14, 6, 12, 7, 6, 10, 3,
    6, 9, 7, 7, 8, 10, 11, 10, 14, 10, 4, 3, 9, 3, 9, 8,
    7, 11, 8, 8, 4, 4, 8, 4, 4, 4, 3, 4, 7, 4, 5, 5,
};

const html_attribute_name_t html_element_attributes[] = {
    // html
    html_attribute_manifest,
    // base
    html_attribute_href, html_attribute_target,
    // link
    html_attribute_href, html_attribute_crossorigin, html_attribute_rel, html_attribute_rev, html_attribute_media, html_attribute_nonce, html_attribute_hreflang, html_attribute_type, html_attribute_referrerpolicy, html_attribute_sizes,
    // meta
    html_attribute_name, html_attribute_http_equiv, html_attribute_content, html_attribute_charset,
    // style
    html_attribute_media, html_attribute_nonce, html_attribute_type,
    // body
    html_attribute_onafterprint, html_attribute_onbeforeprint, html_attribute_onbeforeunload, html_attribute_onhashchange, html_attribute_onlanguagechange, html_attribute_onmessage, html_attribute_onoffline, html_attribute_ononline, html_attribute_onpagehide, html_attribute_onpageshow, html_attribute_onpopstate, html_attribute_onrejectionhandled, html_attribute_onstorage, html_attribute_onunhandledrejection, html_attribute_onunload,
    // blockquote
    html_attribute_cite,
    // ol
    html_attribute_reversed, html_attribute_start, html_attribute_type,
    // li
    html_attribute_value,
    // a
    html_attribute_href, html_attribute_target, html_attribute_download, html_attribute_rel, html_attribute_rev, html_attribute_hreflang, html_attribute_type, html_attribute_referrerpolicy,
    // q
    html_attribute_cite,
    // data
    html_attribute_value,
    // time
    html_attribute_datetime,
    // ins
    html_attribute_cite, html_attribute_datetime,
    // del
    html_attribute_cite, html_attribute_datetime,
    // source
    html_attribute_src, html_attribute_type, html_attribute_srcset, html_attribute_sizes, html_attribute_media,
    // img
    html_attribute_alt, html_attribute_src, html_attribute_srcset, html_attribute_sizes, html_attribute_crossorigin, html_attribute_usemap, html_attribute_ismap, html_attribute_width, html_attribute_height, html_attribute_referrerpolicy, html_attribute_longdesc,
    // iframe
    html_attribute_src, html_attribute_srcdoc, html_attribute_name, html_attribute_sandbox, html_attribute_allowfullscreen, html_attribute_allowpaymentrequest, html_attribute_width, html_attribute_height, html_attribute_referrerpolicy,
    // embed
    html_attribute_src, html_attribute_type, html_attribute_width, html_attribute_height,
    // object
    html_attribute_data, html_attribute_type, html_attribute_typemustmatch, html_attribute_name, html_attribute_form, html_attribute_width, html_attribute_height,
    // param
    html_attribute_name, html_attribute_value,
    // video
    html_attribute_src, html_attribute_crossorigin, html_attribute_poster, html_attribute_preload, html_attribute_autoplay, html_attribute_loop, html_attribute_muted, html_attribute_controls, html_attribute_width, html_attribute_height,
    // audio
    html_attribute_src, html_attribute_crossorigin, html_attribute_preload, html_attribute_autoplay, html_attribute_loop, html_attribute_muted, html_attribute_controls,
    // track
    html_attribute_kind, html_attribute_src, html_attribute_srclang, html_attribute_label, html_attribute_default,
    // map
    html_attribute_name,
    // area
    html_attribute_alt, html_attribute_coords, html_attribute_download, html_attribute_href, html_attribute_hreflang, html_attribute_rel, html_attribute_shape, html_attribute_target, html_attribute_type, html_attribute_referrerpolicy,
    // table
    html_attribute_border,
    // colgroup
    html_attribute_span,
    // col
    html_attribute_span,
    // tbody
    html_attribute_rowgroup,
    // thead
    html_attribute_rowgroup,
    // tfoot
    html_attribute_rowgroup,
    // tr
    html_attribute_row,
    // td
    html_attribute_colspan, html_attribute_rowspan, html_attribute_headers, html_attribute_cell,
    // th
    html_attribute_colspan, html_attribute_rowspan, html_attribute_headers, html_attribute_scope, html_attribute_abbr, html_attribute_columnheader, html_attribute_rowheader,
    // form
    html_attribute_accept_charset, html_attribute_action, html_attribute_autocomplete, html_attribute_enctype, html_attribute_method, html_attribute_name, html_attribute_novalidate, html_attribute_target,
    // label
    html_attribute_for,
    // input
    html_attribute_accept, html_attribute_alt, html_attribute_autocomplete, html_attribute_autofocus, html_attribute_checked, html_attribute_dirname, html_attribute_disabled, html_attribute_form, html_attribute_formaction, html_attribute_formenctype, html_attribute_formmethod, html_attribute_formnovalidate, html_attribute_formtarget, html_attribute_height, html_attribute_list, html_attribute_max, html_attribute_maxlength, html_attribute_min, html_attribute_minlength, html_attribute_multiple, html_attribute_name, html_attribute_pattern, html_attribute_placeholder, html_attribute_readonly, html_attribute_required, html_attribute_size, html_attribute_src, html_attribute_step, html_attribute_type, html_attribute_value, html_attribute_width,
    // button
    html_attribute_autofocus, html_attribute_disabled, html_attribute_form, html_attribute_formaction, html_attribute_formenctype, html_attribute_formmethod, html_attribute_formnovalidate, html_attribute_formtarget, html_attribute_name, html_attribute_type, html_attribute_value,
    // select
    html_attribute_autocomplete, html_attribute_autofocus, html_attribute_disabled, html_attribute_form, html_attribute_multiple, html_attribute_name, html_attribute_required, html_attribute_size,
    // optgroup
    html_attribute_disabled, html_attribute_label,
    // option
    html_attribute_disabled, html_attribute_label, html_attribute_selected, html_attribute_value,
    // textarea
    html_attribute_autocomplete, html_attribute_autofocus, html_attribute_cols, html_attribute_dirname, html_attribute_disabled, html_attribute_form, html_attribute_maxlength, html_attribute_minlength, html_attribute_name, html_attribute_placeholder, html_attribute_readonly, html_attribute_required, html_attribute_rows, html_attribute_wrap,
    // output
    html_attribute_for, html_attribute_form, html_attribute_name,
    // progress
    html_attribute_value, html_attribute_max,
    // meter
    html_attribute_value, html_attribute_min, html_attribute_max, html_attribute_low, html_attribute_high, html_attribute_optimum,
    // fieldset
    html_attribute_disabled, html_attribute_form, html_attribute_name,
    // details
    html_attribute_open,
    // dialog
    html_attribute_open,
    // script
    html_attribute_src, html_attribute_type, html_attribute_charset, html_attribute_async, html_attribute_defer, html_attribute_crossorigin, html_attribute_nonce,
    // canvas
    html_attribute_width, html_attribute_height,
};

const u16 html_element_attribute_offsets[html_element_count] = {
    0, 0, 1, 1, 1, 3, 13, 17, 20, 35, 35, 35, 35, 35, 35, 35,
    35, 35, 35, 35, 35, 35, 35, 35, 35, 35, 36, 39, 39, 40, 40, 40,
    40, 40, 40, 40, 40, 48, 48, 48, 48, 48, 48, 49, 49, 49, 49, 49,
    49, 49, 49, 50, 51, 51, 51, 51, 51, 51, 51, 51, 51, 51, 51, 51,
    51, 51, 51, 51, 53, 55, 55, 60, 71, 80, 84, 91, 93, 103, 110, 115,
    116, 126, 126, 126, 127, 127, 128, 129, 130, 131, 132, 133, 137, 144, 152, 153,
    184, 195, 203, 203, 205, 209, 223, 226, 228, 234, 237, 237, 238, 238, 239, 246,
    246, 246,
};

const u8 html_element_attribute_counts[html_element_count] = {
    0, 1, 0, 0, 2, 10, 4, 3, 15, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 3, 0, 1, 0, 0, 0,
    0, 0, 0, 0, 8, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0,
    0, 0, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 2, 2, 0, 5, 11, 9, 4, 7, 2, 10, 7, 5, 1,
    10, 0, 0, 1, 0, 1, 1, 1, 1, 1, 1, 4, 7, 8, 1, 31,
    11, 8, 0, 2, 4, 14, 3, 2, 6, 3, 0, 1, 0, 1, 7, 0,
    0, 2,
};

const char* const html_parser_error_names[html_parser_error_count] = {
    "html_parser_error_none",
    "html_tokenizer_error_eof",
    "html_tokenizer_error_eof_quoted_attribute_value",
    "html_tokenizer_error_quoted_attribute_value_missing_the_closing_quote",
    "html_tokenizer_error_attribute_value_not_followed_by_a_valid_character",
    "html_tokenizer_error_empty_attribute_not_followed_by_a_valid_character",
    "html_tokenizer_error_invalid_text_character",
    "html_tokenizer_error_invalid_text_character_in_cdata",
    "html_tokenizer_error_invalid_text_character_in_attribute_name",
    "html_tokenizer_error_invalid_character_in_unquoted_attribute_value",
    "html_tokenizer_error_expected_greater_than",
    "html_tokenizer_error_invalid_text_character_in_tag_name",
    "html_tokenizer_error_invalid_markup_syntax",
    "html_tokenizer_error_doctype_not_followed_by_a_space",
    "html_tokenizer_error_invalid_doctype",
    "html_tokenizer_error_comment_starts_with_invalid_character_sequence",
    "html_tokenizer_error_comment_contains_invalid_character_sequence",
    "html_tokenizer_error_invalid_text_character_in_comment",
    "html_tokenizer_error_ambiguous_ampersand_in_attribute_value",
    "html_tokenizer_error_invalid_string_in_raw_element",
    "html_tokenizer_error_invalid_string_in_escapable_raw_element",
    "html_tokenizer_error_ambiguous_ampersand_in_escapable_raw_element",
    "html_tokenizer_error_invalid_encoding_name",
    "html_tokenizer_error_not_enough_memory",
    "html_tree_construction_error_element_invalid_start_name",
    "html_tree_construction_error_element_invalid_end_name",
    "html_tree_construction_error_element_unexpected_end",
    "html_tree_construction_error_element_end_with_no_open_element",
    "html_tree_construction_error_attribute_invalid_name",
    "html_tree_construction_error_attribute_not_allowed_in_element",
    "html_tree_construction_error_attribute_name_already_present",
    "html_tree_construction_error_unclosed_tags",
    "html_tree_construction_error_not_enough_memory",
    "html_tree_traversal_error_not_enough_memory",
};

const char* const html_parser_error_messages[html_parser_error_count] = {
    nullptr,
    "The end of the file has been reached.\n\n",
    "The end of the file was reached while parsing a quoted attirbute value.\n",
    "An quoted attribute value is missing the closing quote, either ' or \".\n",
    "An attribute value was not followed by a space (' ', '\\n', '\\r', '\\t', '\\f'), a slash ('/') or a greater than sign ('>').\n",
    "An empty attribute was not followed by a space (' ', '\\n', '\\r', '\\t', '\\f'), a slash ('/') or a greater than sign ('>').\n",
    "The text contains an invalid character.\n",
    "The text contains an invalid character in a CDATA section.\n",
    "The attribute name contains an invalid text character.\n",
    "An unquoted attribute value contains an invalid character.\n",
    "Greater than sign was expected.\n",
    "Invalid character in tag name. Only ascii alphanumeric character are allowed.\n",
    "Invalid markup syntax.\n",
    "\"<!doctype\" must be followed by a space (' ', '\\n', '\\r', '\\t', '\\f').\n",
    "Invalid doctype.\n",
    "A comment starts with an invalid character sequence. A comment can't start with '>' or '->'.\n",
    "A comment contains an invalid character sequence. A comment can't contain \"<!--\", \"-->\" or \"--!>\" and can't end with \"<!-\".\n",
    "A comment contains an invalid character.\n",
    "An attribute value contains an ambiguous ampersand: an ampersand ('&') followed by one or more ascii alphanumeric characters, followed by a semi-colon (';') but not evaluating to a valid named character reference.\n",
    "A raw element contains an invalid string: \"</script\" or \"</style\" followed by a space (' ', '\\n', '\\r', '\\t', '\\f') or a '/'.\n",
    "An escapable raw element contains an invalid string: \"</textarea\" or \"</title\" followed by a space (' ', '\\n', '\\r', '\\t', '\\f') or a '/'.\n",
    "An escapable raw element contains an ambiguous ampersand: an ampersand ('&') followed by one or more ascii alphanumeric characters, followed by a semi-colon (';') but not evaluating to a valid named character reference.\n",
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
};

const u32 char_set_space[char_set_space_count] = {
    32, 9, 10, 12, 13,
};

// Controls other than white space, then the noncharacters.
const u32 char_set_invalid_text[char_set_invalid_text_count] = {
    0, 1, 2, 3, 4, 5, 6, 7, 8, 11,
    14, 15, 16, 17, 18, 19, 20, 21, 22, 23,
    24, 25, 26, 27, 28, 29, 30, 31, 127, 128,
    129, 130, 131, 132, 133, 134, 135, 136, 137, 138,
    139, 140, 141, 142, 143, 144, 145, 146, 147, 148,
    149, 150, 151, 152, 153, 154, 155, 156, 157, 158,
    159, 0xfdd0, 0xfdd1, 0xfdd2, 0xfdd3, 0xfdd4, 0xfdd5, 0xfdd6, 0xfdd7, 0xfdd8,
    0xfdd9, 0xfdda, 0xfddb, 0xfddc, 0xfddd, 0xfdde, 0xfddf, 0xfde0, 0xfde1, 0xfde2,
    0xfde3, 0xfde4, 0xfde5, 0xfde6, 0xfde7, 0xfde8, 0xfde9, 0xfdea, 0xfdeb, 0xfdec,
    0xfded, 0xfdee, 0xfdef, 0xfffe, 0xffff, 0x1fffe, 0x1ffff, 0x2fffe, 0x2ffff, 0x3fffe,
    0x3ffff, 0x4fffe, 0x4ffff, 0x5fffe, 0x5ffff, 0x6fffe, 0x6ffff, 0x7fffe, 0x7ffff, 0x8fffe,
    0x8ffff, 0x9fffe, 0x9ffff, 0xafffe, 0xaffff, 0xbfffe, 0xbffff, 0xcfffe, 0xcffff, 0xdfffe,
    0xdffff, 0xefffe, 0xeffff, 0xffffe, 0xfffff, 0x10fffe, 0x10ffff,
};

// White space, then NUL and "'>/=, then controls and noncharacters.
const u32 char_set_attribute_name_stop[char_set_attribute_name_stop_count] = {
    32, 9, 10, 12, 13, 0, 34, 39, 62, 47,
    61, 0, 1, 2, 3, 4, 5, 6, 7, 8,
    9, 10, 11, 12, 13, 14, 15, 16, 17, 18,
    19, 20, 21, 22, 23, 24, 25, 26, 27, 28,
    29, 30, 31, 127, 128, 129, 130, 131, 132, 133,
    134, 135, 136, 137, 138, 139, 140, 141, 142, 143,
    144, 145, 146, 147, 148, 149, 150, 151, 152, 153,
    154, 155, 156, 157, 158, 159, 0xfdd0, 0xfdd1, 0xfdd2, 0xfdd3,
    0xfdd4, 0xfdd5, 0xfdd6, 0xfdd7, 0xfdd8, 0xfdd9, 0xfdda, 0xfddb, 0xfddc, 0xfddd,
    0xfdde, 0xfddf, 0xfde0, 0xfde1, 0xfde2, 0xfde3, 0xfde4, 0xfde5, 0xfde6, 0xfde7,
    0xfde8, 0xfde9, 0xfdea, 0xfdeb, 0xfdec, 0xfded, 0xfdee, 0xfdef, 0xfffe, 0xffff,
    0x1fffe, 0x1ffff, 0x2fffe, 0x2ffff, 0x3fffe, 0x3ffff, 0x4fffe, 0x4ffff, 0x5fffe, 0x5ffff,
    0x6fffe, 0x6ffff, 0x7fffe, 0x7ffff, 0x8fffe, 0x8ffff, 0x9fffe, 0x9ffff, 0xafffe, 0xaffff,
    0xbfffe, 0xbffff, 0xcfffe, 0xcffff, 0xdfffe, 0xdffff, 0xefffe, 0xeffff, 0xffffe, 0xfffff,
    0x10fffe, 0x10ffff,
};

// CR, then the invalid text set.
const u32 char_set_invalid_reference[char_set_invalid_reference_count] = {
    13, 0, 1, 2, 3, 4, 5, 6, 7, 8,
    11, 14, 15, 16, 17, 18, 19, 20, 21, 22,
    23, 24, 25, 26, 27, 28, 29, 30, 31, 127,
    128, 129, 130, 131, 132, 133, 134, 135, 136, 137,
    138, 139, 140, 141, 142, 143, 144, 145, 146, 147,
    148, 149, 150, 151, 152, 153, 154, 155, 156, 157,
    158, 159, 0xfdd0, 0xfdd1, 0xfdd2, 0xfdd3, 0xfdd4, 0xfdd5, 0xfdd6, 0xfdd7,
    0xfdd8, 0xfdd9, 0xfdda, 0xfddb, 0xfddc, 0xfddd, 0xfdde, 0xfddf, 0xfde0, 0xfde1,
    0xfde2, 0xfde3, 0xfde4, 0xfde5, 0xfde6, 0xfde7, 0xfde8, 0xfde9, 0xfdea, 0xfdeb,
    0xfdec, 0xfded, 0xfdee, 0xfdef, 0xfffe, 0xffff, 0x1fffe, 0x1ffff, 0x2fffe, 0x2ffff,
    0x3fffe, 0x3ffff, 0x4fffe, 0x4ffff, 0x5fffe, 0x5ffff, 0x6fffe, 0x6ffff, 0x7fffe, 0x7ffff,
    0x8fffe, 0x8ffff, 0x9fffe, 0x9ffff, 0xafffe, 0xaffff, 0xbfffe, 0xbffff, 0xcfffe, 0xcffff,
    0xdfffe, 0xdffff, 0xefffe, 0xeffff, 0xffffe, 0xfffff, 0x10fffe, 0x10ffff,
};

static bool html_name_equal(const char* table_name, const u8* name, u64 size) {
    for (u64 i = 0; i < size; i++) {
        if ((u8)table_name[i] != name[i]) return false;
    }
    return true;
}

constexpr u32 html_name_hash(const u8* first_and_last, u64 size) {
    return ((u32)first_and_last[0] * 7u + (u32)first_and_last[1] * 3u + (u32)size * 13u) & 63u;
}

constexpr u32 html_table_name_hash(const char* name, u64 size) {
    const u8 ends[2] = {(u8)name[0], (u8)name[size - 1]};
    return html_name_hash(ends, size);
}

// Lookups run once per tag and attribute; chains by a hash of length and first
// and last byte keep them short. The chains run in table order, so the first
// match in the table is still the one found.
struct html_name_index_t {
    u8 heads[64];
    u8 next[256];
    constexpr html_name_index_t(const char* const* names, const u8* lengths, u32 count) : heads(), next() {
        for (u32 value = count - 1; value >= 1; value--) {
            u32 hash = html_table_name_hash(names[value], lengths[value]);
            next[value] = heads[hash];
            heads[hash] = (u8)value;
        }
    }
};

static constexpr html_name_index_t html_element_index(html_element_names, html_element_name_lengths,
                                                      html_element_count);
static constexpr html_name_index_t html_attribute_index(html_attribute_names, html_attribute_name_lengths,
                                                        html_attribute_name_count);

static u32 html_index_lookup(const html_name_index_t* index, const char* const* names, const u8* lengths,
                             const u8* name, u64 size) {
    if (size == 0 || size > 255) return 0;
    const u8 ends[2] = {name[0], name[size - 1]};
    for (u32 value = index->heads[html_name_hash(ends, size)]; value; value = index->next[value]) {
        if (lengths[value] == size && html_name_equal(names[value], name, size)) return value;
    }
    return 0;
}

html_element_t html_element_lookup(const u8* name, u64 size) {
    return (html_element_t)html_index_lookup(&html_element_index, html_element_names, html_element_name_lengths,
                                             name, size);
}

html_attribute_name_t html_attribute_lookup(const u8* name, u64 size) {
    return (html_attribute_name_t)html_index_lookup(&html_attribute_index, html_attribute_names,
                                                    html_attribute_name_lengths, name, size);
}

bool html_attribute_allowed(html_element_t element, html_attribute_name_t name) {
    if (name >= 1 && name <= html_attribute_last_global) return true;
    const html_attribute_name_t* allowed = html_element_attributes + html_element_attribute_offsets[element];
    for (u32 i = 0; i < html_element_attribute_counts[element]; i++) {
        if (allowed[i] == name) return true;
    }
    return false;
}
