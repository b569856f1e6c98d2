#pragma once

#include <string_view>

namespace vantorel {

/// Whether this is beyond doubt a link to a web page, exactly as it would be opened: http or https, a host by its name
/// or number, and nothing that the standard does not allow. What is not may still be a link, which the program decides.
bool isPlainLink(std::string_view text);

} // namespace vantorel
