// Text for HTML, as content or in quotes, whatever the file had there: characters that HTML gives a meaning are
// escaped, and what would not be seen or would turn the direction of writing is made visible, as in messages.
//
//   out += "<td title=\"" + Html(name) + "\">";     // Html("<b>\u202e") is "&lt;b&gt;\u202e" in visible letters
#pragma once

#include <string>
#include <string_view>

namespace vantor::tools {

std::string Html(std::string_view utf8);

}  // namespace vantor::tools
