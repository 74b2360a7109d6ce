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

# With CMake 3.25 and Ninja, automoc does not rerun when a target gains a
# source: the description it works from is only an order-only dependency of
# its step. A header added to one of the libraries would go without its
# moc until the build folder is cleaned. Dropping the step's timestamp
# at each configure (which is when source lists change) makes it run again;
# it only regenerates what changed.
function(palomet_track_autogen_sources target)
    get_target_property(binary_dir ${target} BINARY_DIR)
    file(REMOVE "${binary_dir}/${target}_autogen/timestamp")
endfunction()
