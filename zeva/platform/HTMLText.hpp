// Plain text of an HTML page, as a reader sees it: the visible text with the
// tags, scripts, styles and comments dropped and entities decoded. Runs of
// blanks and line ends collapse to one blank, as a browser shows them, except
// inside <pre>. Block elements (paragraphs, headings, list items, table rows,
// divisions, the title, ...) stand on lines of their own, <br> breaks a line
// and table cells are separated by tabs. A no-break space becomes a blank.
// Broken markup is read as a browser reads it, and text is kept however deep
// the tags nest (unclosed tags included), in time proportional to the page.
// The page is read in the character set a <meta> tag declares, else as UTF-8
// when it is valid UTF-8, else as ISO-8859-1; the text is UTF-8.
#pragma once

#include <string_view>

#include "zeva/platform/Text.hpp"

namespace zeva {

// Never null: an empty page, or one without visible text, gives "".
Ref<String> plainTextFromHTML(std::string_view html);

}  // namespace zeva
