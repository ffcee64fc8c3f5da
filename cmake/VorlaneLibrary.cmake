# vorlane_library(NAME SOURCES... [DEPENDS libs...])
# Makes the static library vorlane_NAME from one folder. Headers are included
# by their folder name ("geometry/vector.h"), so the source root is public.
function(vorlane_library NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(vorlane_${NAME} STATIC ${ARG_SOURCES})
  target_include_directories(vorlane_${NAME} PUBLIC ${PROJECT_SOURCE_DIR})
  if(ARG_DEPENDS)
    target_link_libraries(vorlane_${NAME} PUBLIC ${ARG_DEPENDS})
  endif()
endfunction()

# vorlane_header_library(NAME [DEPENDS libs...])
# A folder whose code is all in headers so far.
function(vorlane_header_library NAME)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  add_library(vorlane_${NAME} INTERFACE)
  target_include_directories(vorlane_${NAME} INTERFACE ${PROJECT_SOURCE_DIR})
  if(ARG_DEPENDS)
    target_link_libraries(vorlane_${NAME} INTERFACE ${ARG_DEPENDS})
  endif()
endfunction()
