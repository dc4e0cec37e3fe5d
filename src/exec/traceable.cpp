#include "exec/traceable.h"

#include <cstdlib>

Cloneable::~Cloneable() = default;

namespace korvo
{

ExVisitor::~ExVisitor() = default;
ExVisitable::~ExVisitable() = default;
IExTraceable::~IExTraceable() = default;

std::string newExceptionId()
{
    std::string id = "xxxxxxxx-xxxx-4xxx-8xxx-xxxxxxxxxxxx";
    for (char &character : id) {
        if (character == 'x') {
            // NOLINTNEXTLINE(cert-msc30-c,cert-msc50-cpp): an id, not a secret
            character = "0123456789abcdef"[std::rand() & 15];
        }
    }
    return id;
}

} // namespace korvo
