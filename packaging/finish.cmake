# Gives each package what Debian wants in it and no other installation needs: copyright, compressed changes and manuals, and
# what lintian is to accept, with the reasons.
foreach(package IN ITEMS marigold libmarigold1 libmarigold-pdf1 libmarigold-dev)
  set(top ${CPACK_TEMPORARY_DIRECTORY}/${package}/usr/share)
  set(documents ${top}/doc/${package})
  file(MAKE_DIRECTORY ${documents})
  file(COPY_FILE ${CPACK_PROJECT_SOURCE}/packaging/copyright ${documents}/copyright)
  file(COPY_FILE ${CPACK_PROJECT_SOURCE}/packaging/changelog ${documents}/changelog)
  # The licence is that of every Debian system; copyright names it.
  file(REMOVE ${documents}/LICENSE)
  if(EXISTS ${CPACK_PROJECT_SOURCE}/packaging/${package}.lintian-overrides)
    file(MAKE_DIRECTORY ${top}/lintian/overrides)
    file(COPY_FILE ${CPACK_PROJECT_SOURCE}/packaging/${package}.lintian-overrides
      ${top}/lintian/overrides/${package})
  endif()
  file(GLOB_RECURSE pages ${top}/man/*.[1-9])
  execute_process(COMMAND gzip -9n ${documents}/changelog ${pages} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
