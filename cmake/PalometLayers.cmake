# SPDX-License-Identifier: GPL-3.0-or-later
# The program's libraries, one per subsystem and half, and the one
# direction of their dependencies. Lowest first:
#
#   base <- tasks <- (gamedata, conversion) <- panels <- document <- app
#
# gamedata and conversion stand side by side and never use each other.
# A gui library sits over its own core subsystem (and what that links) and
# over lower gui libraries only. A lower part that must reach up defines an
# interface that the higher part implements.
#
# The build keeps the direction. Each library has an include root of its
# own in the build folder that holds a single entry: a link named after the
# subsystem to the subsystem's source folder
# (<build>/include/palomet_tasks/tasks -> src/core/tasks). Sources include
# other subsystems' headers from that root ("tasks/qbtask.h") and their own
# folder's headers plainly ("qbtask.h"), so a header is found only by
# targets that link its library, and an include against the direction fails
# to compile. (A single include root for all of src/core would show every
# header to every library.) A core library and its gui library share the
# spelling ("conversion/..."), so their file names must differ.
# palomet_check_layers() refuses at configure time what would get around
# the include roots (a link against the direction, an include by a parent
# path "../") and a gui file named like a core one.

set(palomet_rank_base 0)
set(palomet_rank_tasks 1)
set(palomet_rank_gamedata 2)
set(palomet_rank_conversion 2)
set(palomet_rank_panels 3)
set(palomet_rank_document 4)
set(palomet_rank_app 5)

# palomet_add_library(<target>): the static library of the subsystem whose
# folder (src/<half>/<subsystem>) is the current one.
function(palomet_add_library target)
    get_filename_component(subsystem ${CMAKE_CURRENT_SOURCE_DIR} NAME)
    get_filename_component(half_dir ${CMAKE_CURRENT_SOURCE_DIR} DIRECTORY)
    get_filename_component(half ${half_dir} NAME)
    if(NOT DEFINED palomet_rank_${subsystem} OR NOT half MATCHES "^(core|gui)$")
        message(FATAL_ERROR "${CMAKE_CURRENT_SOURCE_DIR} is not a subsystem folder")
    endif()
    add_library(${target} STATIC)
    palomet_track_autogen_sources(${target})
    set(root ${PROJECT_BINARY_DIR}/include/${target})
    file(MAKE_DIRECTORY ${root})
    file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${root}/${subsystem} SYMBOLIC)
    target_include_directories(${target} PUBLIC ${root})
    target_link_libraries(${target} PUBLIC palomet_options)
    set_target_properties(${target} PROPERTIES PALOMET_HALF ${half} PALOMET_SUBSYSTEM ${subsystem})
    set_property(GLOBAL APPEND PROPERTY PALOMET_LIBRARIES ${target})
endfunction()

# Checks every library made by palomet_add_library; call it once all of
# them have their sources and links.
function(palomet_check_layers)
    get_property(libraries GLOBAL PROPERTY PALOMET_LIBRARIES)
    foreach(target IN LISTS libraries)
        get_target_property(half ${target} PALOMET_HALF)
        get_target_property(subsystem ${target} PALOMET_SUBSYSTEM)
        get_target_property(links ${target} LINK_LIBRARIES)
        foreach(link IN LISTS links)
            if(NOT link IN_LIST libraries)
                continue()
            endif()
            get_target_property(link_half ${link} PALOMET_HALF)
            get_target_property(link_subsystem ${link} PALOMET_SUBSYSTEM)
            # Down to a lower rank; a gui library also to its own core one;
            # never from core to gui.
            set(allowed FALSE)
            if(half STREQUAL "gui" OR link_half STREQUAL "core")
                if(palomet_rank_${link_subsystem} LESS palomet_rank_${subsystem})
                    set(allowed TRUE)
                elseif(NOT half STREQUAL link_half AND link_subsystem STREQUAL subsystem)
                    set(allowed TRUE)
                endif()
            endif()
            if(NOT allowed)
                message(FATAL_ERROR "${target} (${half}/${subsystem}) may not link ${link} "
                        "(${link_half}/${link_subsystem}): dependencies run one way, "
                        "see cmake/PalometLayers.cmake")
            endif()
        endforeach()

        get_target_property(sources ${target} SOURCES)
        get_target_property(source_dir ${target} SOURCE_DIR)
        foreach(source IN LISTS sources)
            if(NOT IS_ABSOLUTE ${source})
                set(source ${source_dir}/${source})
            endif()
            file(STRINGS ${source} parent_includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"[.][.]/")
            if(parent_includes)
                message(FATAL_ERROR "${source} includes by a parent path: ${parent_includes}")
            endif()
            # "conversion/x.h" must name one header, not a gui and a core one.
            get_filename_component(name ${source} NAME)
            if(half STREQUAL "gui" AND EXISTS ${PROJECT_SOURCE_DIR}/src/core/${subsystem}/${name})
                message(FATAL_ERROR "${source} has the name of a header of src/core/${subsystem}")
            endif()
        endforeach()
    endforeach()
endfunction()
