#include "tools/report/html_text.h"

#include "tools/messages.h"

namespace vantor::tools {

std::string Html(std::string_view utf8) {
  std::string html;
  for (const char letter : Printable(utf8)) {
    switch (letter) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      case '\'':
        html += "&#39;";
        break;
      default:
        html += letter;
    }
  }
  return html;
}

}  // namespace vantor::tools
