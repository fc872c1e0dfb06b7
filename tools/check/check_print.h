#pragma once

#include <cstddef>
#include <string>

#include "check_report.h"
#include "json_value.h"

/// A report for people, in lines of at most `width` characters but for the heads of findings, which
/// are one line each: FILE:LINE:COLUMN: SEVERITY: PROBLEM [KIND].
std::string report_text(const file_report& report, bool with_entries, std::size_t width);

/// All reports for machines, in JSON; docs/check.md tells of the fields.
json_value reports_json(const std::vector<file_report>& reports);
