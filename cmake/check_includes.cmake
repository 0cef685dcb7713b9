# Fails when a file of a folder in cmake/layers.cmake includes a folder it
# may not: an include upward, or sideways, against the table.
#
#   cmake -DSOURCE_DIR=<repository> [-DSTAMP=<file>] -P check_includes.cmake
#
# Includes are written from the repository root ("export/writer.h"); the
# folder is what precedes the first slash. Includes of folders that are not
# the project's (rapidjson/...) are not judged. STAMP is touched on success,
# for the build.
cmake_minimum_required(VERSION 3.20)
include(${CMAKE_CURRENT_LIST_DIR}/layers.cmake)

set(known ${QORARC_LAYERS} support tests tools bench fuzz)
set(violations "")
foreach(layer IN LISTS QORARC_LAYERS)
  file(GLOB files ${SOURCE_DIR}/${layer}/*.cc ${SOURCE_DIR}/${layer}/*.h)
  foreach(file IN LISTS files)
    file(RELATIVE_PATH name ${SOURCE_DIR} ${file})
    if(name IN_LIST QORARC_ENTRY_POINT)
      continue()
    elseif(name MATCHES "_test\\.cc$")
      set(allowed ${layer} ${QORARC_TESTS_MAY_INCLUDE})
      set(who "tests of ${layer}/")
    else()
      set(allowed ${layer} ${QORARC_MAY_INCLUDE_${layer}})
      set(who "${layer}/")
    endif()
    file(STRINGS ${file} includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"[^\"/]+/")
    foreach(line IN LISTS includes)
      string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*\"([^\"/]+)/.*" "\\1" folder "${line}")
      if(folder IN_LIST known AND NOT folder IN_LIST allowed)
        string(STRIP "${line}" line)
        list(JOIN allowed ", " allowed_text)
        string(APPEND violations
               "  ${name}: ${line} (${who} may include ${allowed_text})\n")
      endif()
    endforeach()
  endforeach()
endforeach()

if(violations)
  message(FATAL_ERROR "Includes against the direction of the folders "
                      "(cmake/layers.cmake):\n${violations}")
endif()
if(STAMP)
  file(TOUCH ${STAMP})
endif()
