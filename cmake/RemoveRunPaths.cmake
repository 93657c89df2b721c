# Run by CPack before it packs: removes the search paths of staged libraries and programs.
file(GLOB_RECURSE files LIST_DIRECTORIES false
    ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/lib/*.so.* ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/usr/bin/*)
foreach(file IN LISTS files)
    if(NOT IS_SYMLINK ${file})
        file(RPATH_REMOVE FILE ${file})
    endif()
endforeach()
