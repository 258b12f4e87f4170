#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "audio/new_file.hpp"
#include "error.hpp"
#include "text/library_output.hpp"
#include "text/nearest.hpp"
#include "verbs/verbs.hpp"
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

/// "; did you mean sense?", or nothing.
std::string meant(const std::string& word, const std::vector<std::string>& names) {
  const auto near = zeto::tool::nearest(word, names);
  return near ? "; did you mean " + *near + "?" : "";
}

std::string unknown_verb(const CLI::App& app, const std::string& word) {
  std::vector<std::string> verbs;
  for (const auto* verb : app.get_subcommands({})) verbs.push_back(verb->get_name());
  return "unknown verb " + word + meant(word, verbs);
}

std::string unknown_option(const CLI::App& app, const std::string& option) {
  std::vector<std::string> names;
  const auto add = [&](const CLI::App& from) {
    for (const auto* known : from.get_options()) {
      for (const auto& name : known->get_lnames()) names.push_back("--" + name);
    }
  };
  for (const auto* verb : app.get_subcommands()) add(*verb);
  add(app);
  return "unknown option " + option + meant(option.substr(0, option.find('=')), names);
}

/// Of CLI11's "Could not convert: --buffer = x".
std::string not_a_number(const std::string& said) {
  const size_t colon = said.find(": ");
  const size_t equals = said.find(" = ");
  if (colon == std::string::npos || equals == std::string::npos) return said;
  const std::string value = said.substr(equals + 3);
  char* end = nullptr;
  std::strtod(value.c_str(), &end);
  const bool is_number = !value.empty() && *end == '\0';
  return said.substr(colon + 2, equals - colon - 2) + ": " +
         (is_number ? "must be a whole number, not " : "must be a number, not ") + value;
}

/// Of the words that found no place the one that most likely put the others out of theirs.
std::string misplaced(const CLI::App& app) {
  const auto words = app.remaining(true);
  if (app.get_subcommands().empty() && !words.front().starts_with('-')) return unknown_verb(app, words.front());
  const auto option = std::find_if(words.begin(), words.end(), [](const auto& word) { return word.starts_with('-'); });
  return option != words.end() ? unknown_option(app, *option) : words.front() + " was not expected";
}

/// Last first, as CLI11 takes them. Words behind "--" are names of files; CLI11 misreads some that begin with a dash.
std::vector<std::string> words_of(const CLI::App& app, int argc, char** argv) {
  std::vector<std::string> words;
  if (argc < 2) return {"--help"};
  if (argv[1] == std::string("help")) {
    if (argc == 2) return {"--help"};
    const auto verbs = app.get_subcommands([&](const CLI::App* verb) { return verb->get_name() == argv[2]; });
    if (verbs.empty()) return {argv[2]};  // and is told that it is none
    return {"--help", argv[2]};
  }
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
    app.parse(words_of(app, argc, argv));
  } catch (const CLI::ExtrasError&) {
    return fail(app, misplaced(app) + " (see --help)");
  } catch (const CLI::ConversionError& error) {
    return fail(app, not_a_number(error.what()) + " (see --help)");
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
  app.fallthrough();             // --verbose may follow the verb too
  app.formatter(std::make_shared<Formatter>());
  app.get_formatter()->column_width(28);
  app.set_version_flag("--version", "zeto " ZETO_VERSION_STRING);
  app.add_flag("-v,--verbose", zeto::tool::verbose, "Show the library's own lines on standard error");
  app.footer(
      "Help on one verb: zeto help VERB\nExit status: 0 done; 1 an audio file could not be read or used; 2 anything "
      "else\nfailed. A line on standard error says what went wrong.");
  zeto::tool::add_emit(app);
  zeto::tool::add_inspect(app);
  zeto::tool::add_sense(app);
  zeto::tool::add_explain(app);
  zeto::tool::add_profile(app);
  zeto::tool::add_tune(app);
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
  } catch (...) {  // only if there is no memory left to say more
    std::fputs("zeto: failed\n", stderr);
    return kFailed;
  }
}
