// What verbs and their options need of CLI11. Who includes <CLI/CLI.hpp> also compiles its writers of help and of
// configuration files, three seconds a time; main.cpp does that for all. Headers only name CLI::App.
#pragma once
#include <CLI/App.hpp>
#include <CLI/Validators.hpp>
