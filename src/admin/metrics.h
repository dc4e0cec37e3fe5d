#pragma once

#include "admin/problems.h"
#include "admin/survey.h"

#include <map>
#include <string>

// What a check has counted besides the problems.
struct Totals {
    std::map<WebstatKind, std::size_t> domains;
    Waiting waiting;
};

// Writes the problems by kind and the totals in Prometheus' text format to the file, which is replaced
// as a whole. Throws Refusal if that fails.
void write_metrics(const std::string &path, const Problems &problems, const Totals &totals);
