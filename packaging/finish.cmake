# Adds files that Debian requires in each package and no other installation needs: copyright,
# compressed changes and manuals, and the lintian overrides, with their reasons.
foreach(package IN ITEMS marigold libmarigold1 libmarigold-pdf1 libmarigold-dev)
  set(top ${CPACK_TEMPORARY_DIRECTORY}/${package}/usr/share)
  set(documents ${top}/doc/${package})
  file(MAKE_DIRECTORY ${documents})
  file(COPY_FILE ${CPACK_PROJECT_SOURCE}/packaging/copyright ${documents}/copyright)
  file(COPY_FILE ${CPACK_PROJECT_SOURCE}/packaging/changelog ${documents}/changelog)
  # Every Debian system has the text of this licence; the file copyright names it.
  file(REMOVE ${documents}/LICENSE)
  if(EXISTS ${CPACK_PROJECT_SOURCE}/packaging/${package}.lintian-overrides)
    file(MAKE_DIRECTORY ${top}/lintian/overrides)
    file(COPY_FILE ${CPACK_PROJECT_SOURCE}/packaging/${package}.lintian-overrides
      ${top}/lintian/overrides/${package})
  endif()
  file(GLOB_RECURSE pages ${top}/man/*.[1-9])
  execute_process(COMMAND gzip -9n ${documents}/changelog ${pages} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
