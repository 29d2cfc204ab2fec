// Plain text of an HTML page, as a reader sees it: the visible text with the
// tags, scripts, styles and comments dropped and entities decoded. Runs of
// blanks and line ends collapse to one blank, as a browser shows them, except
// inside <pre>. Block elements (paragraphs, headings, list items, table rows,
// divisions, the title, ...) stand on lines of their own, <br> breaks a line
// and table cells are separated by tabs. A no-break space becomes a blank.
// The parser is forgiving: broken markup gives what it can recover.
#pragma once

#include <string_view>

#include "zeva/platform/Text.hpp"

namespace zeva {

// Never null: an empty page, or one without visible text, gives "".
Ref<String> plainTextFromHTML(std::string_view html);

}  // namespace zeva
