// The generated HTML document that the parser's and the entry view's benchmarks
// share: about 1 MB of valid markup of the kinds that entries carry.
#pragma once

#include <string>

// A valid document of the kinds of content entries carry, repeated to 1 MB.
inline std::string generated_document() {
    std::string document = "<!doctype html>\n";
    for (int i = 0; document.size() < 1000000; i++) {
        std::string n = std::to_string(i);
        document +=
            "<article id=\"a" + n + "\">\n<h1>Entry number " + n + " \xe2\x80\x94 caf\xc3\xa9 notes</h1>\n"
            "<p class=\"lead\">Some <b>bold</b> and <i>italic</i> text with a "
            "<a href=\"https://example.com/entries/" + n + "?a=1&amp;b=2\" title=\"Link &amp; more\">link</a>, "
            "references &eacute; &#x2014; &lt;tags&gt; and \xe2\x80\x9cquoted\xe2\x80\x9d words that run on "
            "for a while, as a paragraph of an article would.</p>\n"
            "<ul>\n  <li>first item</li>\n  <li>second item with <code>x &lt; y</code></li>\n</ul>\n"
            "<pre>int main() {\n    return 0;\n}</pre>\n"
            "<blockquote><p>A quotation with <em>emphasis</em> and a line<br>break.</p></blockquote>\n"
            "<p><img src=\"https://example.com/pictures/" + n + ".png\" alt=\"A picture\" width=\"640\" "
            "height=\"480\"></p>\n"
            "<table><tr><th>Name</th><th>Value</th></tr><tr><td>cell</td><td colspan=\"2\">" + n +
            "</td></tr></table>\n<!-- generated entry " + n + " -->\n</article>\n";
    }
    return document;
}
