# SPDX-License-Identifier: Apache-2.0

# Declares public headers of the calling folder. They are installed below the folder's path, so that
# consumers use the same include lines as the tree. A header that is not listed is internal.
function(ostbase_public_headers)
  file(RELATIVE_PATH folder "${PROJECT_SOURCE_DIR}" "${CMAKE_CURRENT_SOURCE_DIR}")
  install(FILES ${ARGN} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/ostrel/${folder}"
          COMPONENT headers)
endfunction()
