// How zeto simulate tells what came of a scene.
#pragma once
#include <string>

#include "simulation/simulation.hpp"

namespace zeto::tool {

std::string table_of(const Simulation& simulation);
std::string csv_of(const Simulation& simulation);
std::string json_of(const Simulation& simulation, const zeto_set& set, const Scene& scene);

}  // namespace zeto::tool
