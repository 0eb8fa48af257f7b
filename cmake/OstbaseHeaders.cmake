# SPDX-License-Identifier: Apache-2.0

# Names headers of the calling folder as part of the library's interface: they are installed below
# the folder's own path, so that the include line of the tree is also that of a consumer. A header
# that is not named stays internal.
function(ostbase_public_headers)
  file(RELATIVE_PATH folder "${PROJECT_SOURCE_DIR}" "${CMAKE_CURRENT_SOURCE_DIR}")
  install(FILES ${ARGN} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/ostrel/${folder}"
          COMPONENT headers)
endfunction()
