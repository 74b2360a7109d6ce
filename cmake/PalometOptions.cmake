# SPDX-License-Identifier: GPL-3.0-or-later
# Settings shared by every target of the project.
add_library(palomet_options INTERFACE)
target_compile_features(palomet_options INTERFACE cxx_std_20)
target_compile_definitions(palomet_options INTERFACE
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_URL_CAST_FROM_STRING
    QT_USE_QSTRINGBUILDER
    QT_NO_FOREACH
    QT_DISABLE_DEPRECATED_UP_TO=0x060400
    PALOMET_VERSION="${PROJECT_VERSION}")
if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(palomet_options INTERFACE -Wall -Wextra -Wpedantic -Wno-unused-parameter)
endif()
