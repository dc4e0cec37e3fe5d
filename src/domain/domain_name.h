#pragma once

// Tells whether the text is a well-formed domain name: 1 to 255 characters; labels of 1 to 63
// ASCII letters, digits and hyphens, separated by single dots; no label begins with a hyphen.
// A single label is enough, a label may consist of digits, and a hyphen may end the last label
// only. A null pointer is not a name.
bool is_valid_domain_name(const char *name);
