#pragma once

#include <map>
#include <string>

// What stands in a template between two @, and what takes its place.
using TemplateValues = std::map<std::string, std::string>;

// The text of the template of that name, the administrator's own in "templates" beside the server
// configuration file, or else the installed one, with each @NAME@ (capital letters and underscores)
// replaced by its value. Throws Refusal, with file and line, for a name that has no value, and if
// the template can't be read or is no regular file.
std::string filled_template(const std::string &name, const TemplateValues &values);
