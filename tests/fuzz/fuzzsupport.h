// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCoreApplication>
#include <QLoggingCategory>

#include <cstdio>
#include <cstdlib>

// What every target needs before its first input: an application object
// for the objects that want one, and the program's logging off (the tool
// output alone would be logged for every input).
inline void startFuzzing()
{
    static int argc = 1;
    static char name[] = "fuzz";
    static char *argv[] = {name, nullptr};
    static QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("palomet.*=false"));
}

// The initializer of a target that needs nothing more.
#define FUZZ_INITIALIZE \
    extern "C" int LLVMFuzzerInitialize(int *, char ***) { startFuzzing(); return 0; }

// A promise of the code under test that an input broke: a finding.
#define FUZZ_REQUIRE(condition)                                                                  \
    do {                                                                                         \
        if (!(condition)) {                                                                      \
            std::fprintf(stderr, "%s:%d: broken: %s\n", __FILE__, __LINE__, #condition);         \
            std::abort();                                                                        \
        }                                                                                        \
    } while (false)
