// SPDX-License-Identifier: MIT
//
// The runtime services of the shipped library for a long time: metrics file, configuration, log.

#include "tests/soak/service_runs.h"
#include "tests/soak/soak.h"

int main(int argc, char** argv)
{
    return soak::Main(argc, argv,
                      {{"dumps", soak::Dumps}, {"reloads", soak::Reloads}, {"log", soak::LogLines}});
}
