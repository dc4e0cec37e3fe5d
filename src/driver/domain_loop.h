#pragma once

#include "domain/domains.h"

// Takes the domains of the map one after the other: logs a header block for each and hands it to
// its generator, or removes its prepared logs if it has none. What becomes of one domain does not
// keep the next from its turn, unless an exception of a generator run leaves the loop.
void process_domains(const DomainKindMap &map);
