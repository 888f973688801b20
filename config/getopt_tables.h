// SPDX-License-Identifier: MIT

#ifndef CONFIG_GETOPT_TABLES_H
#define CONFIG_GETOPT_TABLES_H

#include <getopt.h>

#include <string>
#include <vector>

#include "config/option.h"

/// What getopt_long is handed, made of option descriptors.
namespace getopt_tables {

/// Gives every option without a letter a number, from 1000 on in the order of the list; letters stay.
void NumberOptions(std::vector<Option>& options);

/// The letters of the options that have SHORT_OPT, each with ":" for a required or "::" for an optional
/// argument.
std::string ShortOptions(const std::vector<Option>& options);

/// A record for each option that has CMD, ended by an all-zero one. The names point into `options`.
std::vector<option> LongOptions(const std::vector<Option>& options);

}  // namespace getopt_tables

#endif  // CONFIG_GETOPT_TABLES_H
