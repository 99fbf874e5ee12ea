# Run by cpack between installing and packing: what Debian's policy wants otherwise than a prefix.
set(share ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share)
set(doc ${share}/doc/quillon)

function(compress)
  execute_process(COMMAND gzip -9n ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(GLOB pages ${share}/man/man?/*)
compress(${pages})

file(RENAME ${share}/zsh/site-functions ${share}/zsh/vendor-completions)

file(REMOVE ${doc}/LICENSE)
file(WRITE ${doc}/copyright "Copyright: 2026 the authors of quillon
License: Apache-2.0
 Its text is in /usr/share/common-licenses/Apache-2.0.
")

string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(RENAME ${doc}/CHANGELOG.md ${doc}/CHANGES.md)
file(WRITE ${doc}/changelog "quillon (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium

  * What changed is told in CHANGES.md.

 -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${date}
")
compress(${doc}/changelog)
