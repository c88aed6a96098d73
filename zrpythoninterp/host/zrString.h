#pragma once

#include <string>

/// The narrow string of the whole interface: the standard string under the framework's name.
/// **Form**: bytes with no encoding of their own. Text from a script is ASCII, text for a script
/// is read as UTF-8.
using zrString = std::string;
