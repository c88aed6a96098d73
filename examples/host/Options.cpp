#include <examples/host/Options.h>
#include <examples/host/Terminal.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <numeric>
#include <utility>

namespace zrpyhost {

namespace {

constexpr int kUsageError = 2;

class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter() { column_width(24); }
  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override {
    std::string text = CLI::Formatter::make_help(app, std::move(name), mode);
    for (std::size_t at = text.find("\n\n\n"); at != std::string::npos; at = text.find("\n\n\n")) {
      text.erase(at, 1);
    }
    return text;
  }
  std::string make_usage(const CLI::App* /*app*/, std::string /*name*/) const override {
    return "\nUsage:\n"
           "  zrpyhost [OPTION...] SCRIPT [ARG...]\n"
           "  zrpyhost [OPTION...] --batch SCRIPT...\n"
           "  zrpyhost [OPTION...] -e TEXT [ARG...]\n"
           "  zrpyhost [OPTION...] -i\n";
  }
  std::string make_option_opts(const CLI::Option* option) const override {
    return option->get_type_name().empty() ? "" : " " + option->get_type_name();
  }
};

constexpr const char kFooter[] =
    "Exit status: 0 when all went well, 1 when a script failed, 2 for a wrong command line.\n"
    "A script's sys.exit ends the script, never the host.\n"
    "\n"
    "Examples:\n"
    "  zrpyhost -e 'sum(range(101))'\n"
    "  zrpyhost --set width=6 --set height=7 --get 'width * height' room.py\n"
    "  zrpyhost --context report --batch read.py count.py print.py\n"
    "  zrpyhost --coverage out.info app.py && genhtml -o coverage out.info";

// Letters to add, drop or change on the way from one text to the other.
std::size_t Distance(const std::string& from, const std::string& to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= from.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i);
    for (std::size_t j = 1; j <= to.size(); ++j) {
      const std::size_t changed = diagonal + (from[i - 1] == to[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, changed});
    }
  }
  return row.back();
}

// An option of ours that the text may have meant, or an empty text.
std::string Nearest(const CLI::App& app, const std::string& text) {
  std::string nearest;
  std::size_t least = 1 + text.size() / 4;  // that many letters are no slip
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) {
      const std::size_t distance = Distance(text.substr(0, text.find('=')), "--" + name);
      if (distance < least) {
        least = distance;
        nearest = "--" + name;
      }
    }
  }
  return nearest;
}

int Refuse(const std::string& why) {
  std::cerr << Note() << why << "\nTry 'zrpyhost --help'.\n";
  return kUsageError;
}

// What the library says, in the words of the rest of the program.
int RefuseParse(const CLI::App& app, const CLI::ParseError& error) {
  const std::string text = error.what();
  const std::string name = text.substr(0, text.find(':'));
  if (const auto* mismatch = dynamic_cast<const CLI::ArgumentMismatch*>(&error)) {
    static_cast<void>(mismatch);
    const CLI::Option* const option = app.get_option_no_throw(name);
    if (option) return Refuse("option " + name + " needs a value: " + option->get_type_name());
  }
  return Refuse(text);
}

void Declare(CLI::App& app, Options& options) {
  const CLI::Validator isAssignment(
      [](std::string& text) {
        const std::size_t equals = text.find('=');
        return equals != std::string::npos && equals != 0 ? std::string()
                                                          : "'" + text + "' is no NAME=VALUE";
      },
      "");
  app.add_option("-e", options.text, "Evaluate TEXT and print its value")
      ->type_name("TEXT")
      ->group("What to run");
  app.add_flag("-i", options.interactive, "Read, evaluate, print; after SCRIPT or TEXT, if given")
      ->group("What to run");
  app.add_flag("--batch", options.batch, "Run every SCRIPT, with a line of result for each")
      ->group("What to run");

  app.add_option("--context", options.context, "Run in the context NAME instead of __main__")
      ->type_name("NAME")
      ->group("Values and contexts");
  app.add_option("--set", options.assignments,
                 "Bind NAME before the run, to a whole number, a\n"
                 "floating-point number, true, false, or else a text")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false)
      ->check(isAssignment)
      ->group("Values and contexts");
  app.add_option("--get", options.expressions, "Print the value of EXPRESSION after the run")
      ->type_name("EXPRESSION")
      ->allow_extra_args(false)
      ->group("Values and contexts");

  app.add_option("--coverage", options.trace.coverageFile, "Write the lines that ran, for genhtml")
      ->type_name("FILE")
      ->group("Watching");
  app.add_option("--timeline", options.trace.timelineFile,
                 "Write the calls over time, as Chrome trace events")
      ->type_name("FILE")
      ->group("Watching");
  app.add_flag("--step", options.trace.step, "Stop at lines and ask what to do")->group("Watching");

  app.add_option("--home", options.home,
                 "The installation root (default: a temporary one\n"
                 "with the Python that zrpyhost was built with)")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory.description(""))
      ->group("Installation");
  app.add_option("--user", options.user, "The user's directory")
      ->type_name("DIR")
      ->group("Installation");

  app.set_help_flag("-h,--help", "Show this text")->group("Other");
  app.set_version_flag("--version", "zrpyhost " ZR_HOST_VERSION, "Show the version")
      ->group("Other");
}

// What stands behind the options: names and arguments of scripts, as they are.
std::optional<int> TakeRest(const CLI::App& app, std::vector<std::string> rest, Options& options) {
  if (!rest.empty() && rest.front() == "--") {
    rest.erase(rest.begin());
  } else if (!rest.empty() && rest.front().size() > 1 && rest.front().front() == '-') {
    const std::string nearest = Nearest(app, rest.front());
    return Refuse("unknown option '" + rest.front() + "'" +
                  (nearest.empty() ? "" : ", did you mean " + nearest + "?"));
  }
  if (options.batch) {
    if (options.text) return Refuse("--batch runs scripts and does not go with -e");
    if (options.trace.step) return Refuse("--step asks questions and does not go with --batch");
    if (rest.empty()) return Refuse("--batch needs at least one SCRIPT");
    for (const std::string& name : rest) {
      if (name.compare(0, 1, "-") == 0)
        return Refuse("options come ahead of the scripts: '" + name + "'");
    }
    options.scripts = std::move(rest);
    return std::nullopt;
  }
  if (!options.text && !rest.empty()) {
    options.scripts.assign(1, rest.front());
    rest.erase(rest.begin());
  }
  options.arguments = std::move(rest);
  if (options.scripts.empty() && !options.text && !options.interactive) {
    return Refuse("nothing to run: give a SCRIPT, -e TEXT or -i");
  }
  return std::nullopt;
}

}  // namespace

std::optional<int> ParseOptions(int count, char** arguments, Options& options) {
  CLI::App app("zrpyhost runs Python scripts the way an application does that embeds Python.");
  app.formatter(std::make_shared<HelpFormatter>());
  app.footer(kFooter);
  app.prefix_command();
  Declare(app, options);
  try {
    app.parse(count, arguments);
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    return RefuseParse(app, error);
  }
  return TakeRest(app, app.remaining(), options);
}

}  // namespace zrpyhost
