# SPDX-License-Identifier: MIT
# What the library is linked with; everything else belongs to the tools.
pkg_check_modules(LOG4CPLUS REQUIRED IMPORTED_TARGET GLOBAL log4cplus)
pkg_check_modules(SAFEC REQUIRED IMPORTED_TARGET GLOBAL libsafec)
pkg_check_modules(NUMA REQUIRED IMPORTED_TARGET GLOBAL numa)
pkg_check_modules(YAML_CPP REQUIRED IMPORTED_TARGET GLOBAL yaml-cpp>=0.6)
