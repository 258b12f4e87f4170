// One function per verb: adds the verb with its options and what it does. A verb throws UserError when it cannot.
#pragma once

namespace CLI {
class App;
}  // namespace CLI

namespace zeto::tool {

void add_emit(CLI::App& app);
void add_explain(CLI::App& app);
void add_inspect(CLI::App& app);
void add_live(CLI::App& app);
void add_params(CLI::App& app);
void add_profile(CLI::App& app);
void add_sense(CLI::App& app);
void add_sets(CLI::App& app);
void add_simulate(CLI::App& app);
void add_tune(CLI::App& app);

}  // namespace zeto::tool
