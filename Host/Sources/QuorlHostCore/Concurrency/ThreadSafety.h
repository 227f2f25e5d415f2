// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

// Clang's capability annotations (Clang documentation, "Thread Safety Analysis"); empty under other
// compilers.
#if defined(__clang__)
#define QUORL_TSA(x) __attribute__((x))
#else
#define QUORL_TSA(x)
#endif

#define QUORL_CAPABILITY(name) QUORL_TSA(capability(name))
#define QUORL_GUARDED_BY(capability) QUORL_TSA(guarded_by(capability))
#define QUORL_REQUIRES(capability) QUORL_TSA(requires_capability(capability))
#define QUORL_ASSERTS(capability) QUORL_TSA(assert_capability(capability))
#define QUORL_NO_ANALYSIS QUORL_TSA(no_thread_safety_analysis)
