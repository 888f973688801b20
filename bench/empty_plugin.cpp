// SPDX-License-Identifier: MIT
//
// The least that a library of this framework can be: the entry point, and nothing behind it. Linked to the
// libraries that ours needs, it is the baseline of load_bench.

extern "C" __attribute__((visibility("default"))) void GetInstance(void* /*interfaces*/) {}
