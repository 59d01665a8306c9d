# Installs what belongs to the program besides itself, and makes the Debian package.
#
#   scripts/package            builds the program and leaves the package in build/package/
#   scripts/package --check    also asks lintian, and installs, tries and purges it
#
# or by hand, in a configured build folder: umask 022 && cmake --build . && cpack
#
# REQUIRES: the targets kestrel, which the including file installs, and render-icon. The package needs no
# maintainer scripts: dpkg's triggers refresh the icon cache, the desktop database and the manual's index.

set(packaging ${CMAKE_CURRENT_LIST_DIR})
set(assets ${CMAKE_CURRENT_LIST_DIR}/../assets)
set(made ${CMAKE_CURRENT_BINARY_DIR}/packaging)
set(application app.kestrel.Kestrel)
set(debianVersion ${PROJECT_VERSION}-1)

# A version counts only where its changes and its date are listed.
file(READ ${packaging}/changelog changelog LIMIT 200)
if(NOT changelog MATCHES "^kestrel \\(${debianVersion}\\) ")
  message(FATAL_ERROR "packaging/changelog does not begin with kestrel (${debianVersion}).")
endif()
file(READ ${packaging}/${application}.metainfo.xml metainfo)
if(NOT metainfo MATCHES "<releases>[ \n]*<release version=\"${PROJECT_VERSION}\"")
  message(FATAL_ERROR "packaging/${application}.metainfo.xml does not begin its releases with ${PROJECT_VERSION}.")
endif()

include(GNUInstallDirs)
set(files)

set(hicolor ${CMAKE_INSTALL_DATADIR}/icons/hicolor)
foreach(size 16 22 24 32 48 64 128 256 512)
  set(icon ${made}/${size}/${application}.png)
  file(MAKE_DIRECTORY ${made}/${size})
  add_custom_command(OUTPUT ${icon}
    COMMAND render-icon --transparent ${assets}/kestrel.svg ${size} ${icon}
    DEPENDS render-icon ${assets}/kestrel.svg VERBATIM)
  install(FILES ${icon} DESTINATION ${hicolor}/${size}x${size}/apps)
  list(APPEND files ${icon})
endforeach()
install(FILES ${assets}/kestrel.svg DESTINATION ${hicolor}/scalable/apps RENAME ${application}.svg)
install(FILES ${assets}/kestrel-symbolic.svg DESTINATION ${hicolor}/symbolic/apps
        RENAME ${application}-symbolic.svg)

install(FILES ${packaging}/${application}.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${packaging}/${application}.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(FILES ${packaging}/bash-completion/kestrel
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

# Debian requires manuals and changes compressed, without the time of the build.
find_program(GZIP gzip REQUIRED)
function(install_compressed source folder name)
  set(compressed ${made}/${folder}/${name}.gz)
  file(MAKE_DIRECTORY ${made}/${folder})
  add_custom_command(OUTPUT ${compressed}
    COMMAND ${GZIP} -9nc ${packaging}/${source} > ${compressed}
    DEPENDS ${packaging}/${source} VERBATIM)
  install(FILES ${compressed} DESTINATION ${CMAKE_INSTALL_DATADIR}/${folder})
  set(files ${files} ${compressed} PARENT_SCOPE)
endfunction()
install_compressed(man/kestrel.1 man/man1 kestrel.1)
install_compressed(man/de/kestrel.1 man/de/man1 kestrel.1)
install_compressed(changelog doc/kestrel changelog.Debian)
install(FILES ${packaging}/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/kestrel)
install(FILES ${packaging}/lintian-overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME kestrel)

add_custom_target(package-files ALL DEPENDS ${files})

set(CPACK_GENERATOR DEB)
set(CPACK_SOURCE_GENERATOR "")
set(CPACK_PACKAGE_NAME kestrel)
set(CPACK_PACKAGE_VENDOR "The Kestrel authors")
set(CPACK_PACKAGE_CONTACT "Kestrel developers <kestrel@localhost.localdomain>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "makes a video library smaller without visible loss")
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT) # kestrel_VERSION_ARCHITECTURE.deb
set(CPACK_DEBIAN_PACKAGE_VERSION ${debianVersion})
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Kestrel looks at every video of a folder, shows what it would do with it and
how much space that saves, and converts several files at a time to HEVC or
AV1. For each film a quality search finds the CRF that reaches the chosen VMAF
target; every result is checked before it takes the place of the original,
which goes to the trash.

VMAF is measured by the libvmaf filter where ffmpeg has it, and otherwise by
the program itself.")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The libraries are added automatically. ffmpeg is run as a program; without Qt's translations its buttons are English.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "ffmpeg (>= 7:5.1), qt6-translations-l10n")
# This shows the window under Wayland.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "qt6-wayland")
# Shares of the file manager are visible below its FUSE mount.
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "gvfs-fuse, parallel")

include(CPack)
