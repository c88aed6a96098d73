#include <examples/host/InterruptKey.h>
#include <examples/host/Names.h>
#include <examples/host/Session.h>
#include <examples/host/Terminal.h>
#include <zrpythoninterp/talk/zrPythonTalk.h>

#include <algorithm>
#include <iostream>

namespace zrpyhost {

namespace {

// A context of its own, like that of the host's other tools.
constexpr char kTools[] = "zrpyhost names";
constexpr char kToolsText[] = R"(
import sys
missing = 'readline' not in sys.modules
if missing:  # what completes for it would set up its keys
    sys.modules['readline'] = None
try:
    from rlcompleter import Completer
finally:
    if missing:
        del sys.modules['readline']

def complete(word, context):
    import __main__
    contexts = getattr(__main__, '__script_dicts__', {})
    namespace = contexts.get(context, {}) if context else __main__.__dict__
    completer = Completer(namespace)
    completer.complete(word, 0)
    return sorted(set(completer.matches))
)";

}  // namespace

std::vector<std::string> Complete(Session& session, const std::string& word) {
  const InterruptKey::Running running;
  zrPythonTalk talk(session.interp());
  if (talk.Names(kTools).empty() && !talk.Run(kToolsText, kTools)) return {};
  talk.Import("word", word, kTools);
  talk.Import("context", session.context(), kTools);
  talk.SetTextForm(zrPythonTalk::TextForm::kUtf8);
  const zrVariant texts = session.interp().Export("complete(word, context)", kTools);
  talk.SetTextForm(zrPythonTalk::TextForm::kAscii);
  return texts.GetStringList();
}

bool ListNames(Session& session, const std::string& context) {
  const zrPythonTalk talk(session.interp());
  const std::string& name = context.empty() ? session.context() : context;
  const zrStlVector<zrString> contexts = talk.Contexts();
  if (!name.empty() && std::find(contexts.begin(), contexts.end(), name) == contexts.end()) {
    std::cerr << Note() << "there is no context " << name << "\n";
    return false;
  }
  for (const zrPythonName& bound : talk.Names(name)) {
    std::cout << bound.name << ": " << bound.kind << "\n";
  }
  std::cout << std::flush;
  return true;
}

}  // namespace zrpyhost
