#include <gtest/gtest.h>

#include "zeva/platform/HTMLText.hpp"

using namespace zeva;

TEST(HTMLText, VisibleTextOnly) {
    struct Case {
        const char* html;
        const char* text;
    };
    const Case cases[] = {
        {"<html><head><title>Big Quake</title></head><body><p>An <b>M7.1</b> event.</p></body></html>",
         "Big Quake\nAn M7.1 event."},
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
        {"plain text, no tags", "plain text, no tags"},
        {"<p>caf\xC3\xA9</p>", "caf\xC3\xA9"},
        // A declared encoding is honoured.
        {"<html><head><meta http-equiv=\"Content-Type\" content=\"text/html; charset=iso-8859-1\"></head>"
         "<body><p>M\xE9xico</p></body></html>",
         "M\xC3\xA9xico"},
        {"", ""},
        {"<html><body></body></html>", ""},
    };
    for (const auto& c : cases) {
        auto text = plainTextFromHTML(c.html);
        ASSERT_TRUE(text) << c.html;
        EXPECT_EQ(text->str(), c.text) << c.html;
    }
}
