// The names that scripts have bound.
#pragma once

#include <string>
#include <vector>

namespace zrpyhost {

class Session;

// What the word can become in the session's context: names, attributes, keywords. Evaluates what
// stands ahead of the word's last dot.
std::vector<std::string> Complete(Session& session, const std::string& word);

// Prints the names that are bound in a context, or in the session's own for an empty name, with
// the kinds of their values. False, and told on stderr, when there is no such context.
bool ListNames(Session& session, const std::string& context);

}  // namespace zrpyhost
