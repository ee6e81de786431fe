# cpack -G DEB: one package of programs, library, Python package, documents and manual page.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME trel)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The maintainers of Trel")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DESCRIPTION
"The programs trel and trelrun follow light through tissue; the Python package
trel and the command trel-tools build models, run them and draw the results.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
# Those of the programs are read from them, by dpkg-shlibdeps (Debian: dpkg-dev).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "python3 (>= 3.11), python3 (<< 3.12), python3-numpy, python3-xarray, python3-netcdf4, python3-matplotlib")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS
    "python3-tqdm, python3-meshio, python3-nibabel, python3-scipy, python3-distributed, python3-jinja2, parallel")
include(CPack)
