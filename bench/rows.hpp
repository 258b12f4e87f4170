// Registers the rows.
#pragma once

namespace bench {

void add_steps();     // transforms, filters, levels, chirp
void add_kit();       // the host kit
void add_wrappers();  // both wrappers, their streams, silence, memory

}  // namespace bench
