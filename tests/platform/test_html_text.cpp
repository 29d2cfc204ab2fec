#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zeva/platform/HTMLText.hpp"

using namespace zeva;

namespace {

std::string repeat(const std::string& piece, int times) {
    std::string out;
    for (int i = 0; i < times; ++i) out += piece;
    return out;
}

}  // namespace

TEST(HTMLText, VisibleTextOnly) {
    struct Case {
        std::string html;
        std::string text;
    };
    const std::vector<Case> cases = {
        {"<html><head><style>p { color: red }</style><script>var x = '<p>no</p>';</script></head>"
         "<body><p>shown</p><script type=\"text/javascript\">alert(1)</script><!-- hidden --></body></html>",
         "shown"},
        {"<h1>Title</h1><div>one</div><div>two<p>three</p>four</div><ul><li>a</li><li>b</li></ul>",
         "Title\none\ntwo\nthree\nfour\na\nb"},
        {"<p>  several\n   blanks\tand\r\nbreaks  </p>", "several blanks and breaks"},
        {"<p>line<br>break<br/><br>again</p>", "line\nbreak\n\nagain"},
        {"<p>before</p><pre>\ncol1  col2\n  indented</pre><p>after</p>", "before\ncol1  col2\n  indented\nafter"},
        {"<table><tr><th>M</th><th>Region</th></tr><tr><td>5.1</td><td>Fiji</td></tr></table>",
         "M\tRegion\n5.1\tFiji"},
        {"<p>&lt;tag&gt; &amp; &quot;q&quot;&nbsp;x</p>", "<tag> & \"q\" x"},
        {"<p>unclosed <b>bold <i>and</p><p>next", "unclosed bold and\nnext"},
        {"<p>caf\xC3\xA9</p>", "caf\xC3\xA9"},
        // A declared encoding is honoured.
        {"<html><head><meta http-equiv=\"Content-Type\" content=\"text/html; charset=iso-8859-1\"></head>"
         "<body><p>M\xE9xico</p></body></html>",
         "M\xC3\xA9xico"},
        // Undeclared and not UTF-8: read as ISO-8859-1.
        {"<p>M\xE9xico</p>", "M\xC3\xA9xico"},
        {"", ""},
        // Markup a browser reads as text, or as text shown as written.
        {"<p>a < b &bogus; &amp c</p>", "a < b &bogus; &amp c"},
        {"<p>&#233;&#xE9;&#0;&#99999999999;</p>", "\xC3\xA9\xC3\xA9\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"<xmp><b>x</b></xmp><textarea>&lt;y&gt;</textarea>", "<b>x</b>\n<y>"},
        {"<a title=\"a>b\">link</a><script>document.write('</p>hidden')</script>",
         "link"},
        {"<template><p>hidden</p><template>x</template>still</template>shown", "shown"},
        // However deep the tags nest (hand-written pages open a <font> per line
        // and never close it), no text is lost.
        {"<p>before</p>" + repeat("<font size=2>x<br>", 300) + "<p>after</p>", "before\n" + repeat("x\n", 300) + "after"},
        {repeat("<div>", 200000) + "deep" + repeat("</div>", 200000) + "<p>end</p>", "deep\nend"},
        {repeat("<b>", 100000) + repeat("</i>x", 3), "xxx"},
        {"<p>tail <b", "tail"},
    };
    for (const auto& c : cases) {
        auto text = plainTextFromHTML(c.html);
        ASSERT_TRUE(text) << c.html.substr(0, 200);
        EXPECT_EQ(text->str(), c.text) << c.html.substr(0, 200);
    }
}
