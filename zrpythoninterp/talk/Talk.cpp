// The handle, and what it stands for: zrPythonTalk, zrCreatePython, SetTextForm, Talk. Test:
// tests/talk.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/convert/Characters.h>
#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/eval/Entry.h>
#include <zrpythoninterp/talk/Talk.h>
#include <zrpythoninterp/talk/zrPythonTalk.h>

namespace zrpy {

// Only this room attaches companions.
std::shared_ptr<Talk> Talk::Of(zrInterpPython& interp) {
  std::shared_ptr<Companion> companion = Companion::Of(interp);
  if (!companion) companion = Attach(interp, std::make_shared<Talk>(interp));
  return std::static_pointer_cast<Talk>(companion);
}

// What fails here is reported like an evaluation's error, and the start goes on.
void Talk::AtStart() {
  const Entry entry(interp_);
  if (!entry) return;
  RuntimeLife::CallAtStop([] { GiveTextsAsUtf8(false); });  // the next may be another interpreter's
  GiveTextsAsUtf8(utf8_);
  if (output_->IsSet()) output_->ChangeStreams();
  if (!PyErr_Occurred()) functions_.BindAll();
  Report(interp_);
}

void Talk::SetUtf8(bool utf8) {
  utf8_ = utf8;
  if (IsStarted(interp_)) GiveTextsAsUtf8(utf8);
}

}  // namespace zrpy

std::unique_ptr<zrInterpPython> zrCreatePython(zrPythonInterpCreator& creator) {
  std::unique_ptr<zrInterp> made(creator.Create());
  std::unique_ptr<zrInterpPython> python(dynamic_cast<zrInterpPython*>(made.get()));
  if (python) static_cast<void>(made.release());
  return python;
}

zrPythonTalk::zrPythonTalk(zrInterpPython& interp)
    : interp_(interp), talk_(zrpy::Talk::Of(interp)) {}

void zrPythonTalk::SetTextForm(TextForm form) { talk_->SetUtf8(form == TextForm::kUtf8); }
