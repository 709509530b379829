// Telling the user something while a statement goes on.
#pragma once

#include <string_view>

namespace host {

// Shows the user a notice, in UTF-8. May throw what the host raises while sending it.
void report_notice(std::string_view message);

} // namespace host
