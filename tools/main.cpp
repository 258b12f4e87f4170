#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "error.hpp"
#include "library_output.hpp"
#include "new_file.hpp"
#include "verbs.hpp"
#include "zeto/version.h"

namespace {

using zeto::tool::kBadFile;
using zeto::tool::kFailed;

int fail(const CLI::App& app, const std::string& message, int status = kFailed) {
  const auto verbs = app.get_subcommands();
  zeto::tool::complain(verbs.empty() ? "zeto" : "zeto " + verbs.front()->get_name(), message);
  return status;
}

/// Of several spellings, help shows the first.
struct Formatter : CLI::Formatter {
  std::string make_option_name(const CLI::Option* option, bool is_positional) const override {
    if (is_positional || option->get_lnames().size() < 2) {
      return CLI::Formatter::make_option_name(option, is_positional);
    }
    return option->get_name();
  }
};

/// Of the words that found no place the one that most likely put the others out of theirs.
std::string misplaced(const CLI::App& app) {
  const auto words = app.remaining(true);
  if (app.get_subcommands().empty() && !words.front().starts_with('-')) return "unknown verb " + words.front();
  const auto option = std::find_if(words.begin(), words.end(), [](const auto& word) { return word.starts_with('-'); });
  return option != words.end() ? "unknown option " + *option : words.front() + " was not expected";
}

/// Last first, as CLI11 takes them. What stands behind "--" are names of files; CLI11 misreads some that begin with a dash.
std::vector<std::string> words_of(int argc, char** argv) {
  std::vector<std::string> words;
  bool names = false;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--" && !names) {
      names = true;
    } else {
      words.push_back(names && word.starts_with('-') ? "./" + word : word);
    }
  }
  std::reverse(words.begin(), words.end());
  return words;
}

int parse_and_do(CLI::App& app, int argc, char** argv) {
  try {
    app.parse(words_of(argc, argv));
  } catch (const CLI::ExtrasError&) {
    return fail(app, misplaced(app) + " (see --help)");
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // --help, --version
    return fail(app, std::string(error.what()) + " (see --help)");
  } catch (const zeto::tool::FileError& error) {
    return fail(app, error.what(), kBadFile);
  } catch (const zeto::tool::SomeFilesFailed&) {
    return kBadFile;
  } catch (const std::exception& error) {
    return fail(app, error.what());
  }
  return app.get_subcommands().empty() ? fail(app, "no verb given (see --help)") : 0;
}

int run(int argc, char** argv) {
  CLI::App app{"Ultrasonic sensing in a phone's voice path: makes the chirp, looks at it and measures its echo.",
               "zeto"};
  app.require_subcommand(0, 1);  // none: told below, better than CLI11 does
  app.fallthrough();             // --verbose may stand behind the verb too
  app.formatter(std::make_shared<Formatter>());
  app.get_formatter()->column_width(28);
  app.set_version_flag("--version", "zeto " ZETO_VERSION_STRING);
  app.add_flag("-v,--verbose", zeto::tool::verbose, "Show the library's own lines on standard error");
  app.footer(
      "Help on one verb: zeto VERB --help\nExit status: 0 done; 1 an audio file could not be read or used; 2 anything "
      "else\nfailed. Each with a line on standard error.");
  zeto::tool::add_emit(app);
  zeto::tool::add_inspect(app);
  zeto::tool::add_sense(app);
  zeto::tool::add_explain(app);
  zeto::tool::add_simulate(app);
  zeto::tool::add_live(app);
  zeto::tool::add_params(app);
  zeto::tool::add_sets(app);

  const int status = parse_and_do(app, argc, argv);
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) return fail(app, "cannot write to standard output");
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  zeto::tool::remove_unfinished_on_signals();
  try {
    return run(argc, argv);
  } catch (...) {  // only where there is no memory left to say more
    std::fputs("zeto: failed\n", stderr);
    return kFailed;
  }
}
