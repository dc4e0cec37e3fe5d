#include "admin/problems.h"

const std::map<ProblemKind, const char *> problem_kind_names = {
    {ProblemKind::configuration, "configuration"},
    {ProblemKind::disk, "disk"},
    {ProblemKind::expired_month, "expired_month"},
    {ProblemKind::no_configuration, "no_configuration"},
    {ProblemKind::no_generator, "no_generator"},
    {ProblemKind::owner, "owner"},
    {ProblemKind::place, "place"},
    {ProblemKind::position, "position"},
    {ProblemKind::program, "program"},
    {ProblemKind::stale_pages, "stale_pages"},
    {ProblemKind::waiting, "waiting"},
};
