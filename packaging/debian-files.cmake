# Run by cpack over the files it is about to pack: what Debian wants otherwise than an installation
# from source has it. Manual pages and the change log are compressed, the licence has its own form
# and place, and zsh completions of packages stand in a directory of their own.
set(root ${CPACK_TEMPORARY_DIRECTORY}/usr/share)
set(doc ${root}/doc/tavindex)

function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(GLOB pages ${root}/man/man*/*.[1-9])
run(sh ${CPACK_TAVINDEX_SOURCE}/packaging/debian-changelog ${CPACK_TAVINDEX_SOURCE}/CHANGELOG.md
    ${doc}/changelog "${CPACK_PACKAGE_CONTACT}")
run(gzip -9n ${pages} ${doc}/changelog)

file(COPY_FILE ${CPACK_TAVINDEX_SOURCE}/packaging/copyright ${doc}/copyright)
file(REMOVE ${doc}/LICENSE)

if(EXISTS ${root}/zsh/site-functions)
  file(RENAME ${root}/zsh/site-functions ${root}/zsh/vendor-completions)
endif()
