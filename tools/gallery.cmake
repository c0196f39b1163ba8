# The toolkit gallery: every stock control in a window of its own, for looking at and for the
# tests that drive it under Xvfb.
if(TARGET toolkit)
  add_executable(tessarine-gallery ${CMAKE_CURRENT_LIST_DIR}/tessarine-gallery.cpp)
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(GALLERY_FONTCONFIG REQUIRED IMPORTED_TARGET fontconfig)
  target_link_libraries(tessarine-gallery PRIVATE toolkit PkgConfig::GALLERY_FONTCONFIG)

  find_program(XVFB_PROGRAM Xvfb)
  find_program(XDOTOOL_PROGRAM xdotool)
  if(XVFB_PROGRAM AND XDOTOOL_PROGRAM)
    add_test(NAME toolkit_xvfb
      COMMAND python3 ${PROJECT_SOURCE_DIR}/tests/toolkit/xvfb/gallery_test.py $<TARGET_FILE:tessarine-gallery>)
    # Once more without MIT-SHM, through the PutImage path a remote server would get.
    add_test(NAME toolkit_xvfb_putimage
      COMMAND python3 ${PROJECT_SOURCE_DIR}/tests/toolkit/xvfb/gallery_test.py $<TARGET_FILE:tessarine-gallery>)
    set_tests_properties(toolkit_xvfb PROPERTIES TIMEOUT 240)
    set_tests_properties(toolkit_xvfb_putimage PROPERTIES TIMEOUT 240 ENVIRONMENT TESSARINE_NO_SHM=1)
  endif()
endif()
