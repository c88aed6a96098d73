#include <examples/host/Terminal.h>

#include <cstdlib>

namespace zrpyhost {

namespace {

bool WantsColour() {
  const char* const refused = std::getenv("NO_COLOR");
  return StderrIsTerminal() && !(refused && *refused) && TerminalKnowsColour();
}

}  // namespace

std::string Paint(Colour colour, const std::string& text) {
  static const bool wanted = WantsColour();
  return wanted ? "\033[" + std::to_string(static_cast<int>(colour)) + "m" + text + "\033[0m"
                : text;
}

std::string Note() { return Paint(Colour::kBold, "zrpyhost: "); }

}  // namespace zrpyhost
