#pragma once

#include "admin/checklist.h"
#include "admin/month_pages.h"
#include "admin/survey.h"

// Checks a domain: its directories, what waits in its logs, and its months. Throws
// boost::filesystem::filesystem_error where something can't be looked at.
void check_domain(Checklist &checklist, const DomainSurvey &domain, const Surveyor &surveyor,
                  MonthPagesSurveyor &months);
