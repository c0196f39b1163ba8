# tess_host (a small VST 3 host of our own) and tessarine-render, which runs audio files and
# impulse measurements through a built or installed bundle.
if(TARGET vst3sdk)
  add_library(tess_host STATIC ${CMAKE_CURRENT_LIST_DIR}/host/PluginHost.cpp)
  target_include_directories(tess_host PUBLIC ${CMAKE_CURRENT_LIST_DIR}/host)
  target_link_libraries(tess_host PUBLIC vst3sdk ${CMAKE_DL_LIBS})

  find_package(PkgConfig)
  if(PKG_CONFIG_FOUND)
    pkg_check_modules(SNDFILE IMPORTED_TARGET sndfile)
    pkg_check_modules(CAIRO IMPORTED_TARGET cairo)
    pkg_check_modules(FONTCONFIG IMPORTED_TARGET fontconfig)
  endif()
  if(SNDFILE_FOUND AND CAIRO_FOUND AND FONTCONFIG_FOUND)
    add_executable(tessarine-render ${CMAKE_CURRENT_LIST_DIR}/tessarine-render.cpp)
    target_link_libraries(tessarine-render PRIVATE tess_host PkgConfig::SNDFILE PkgConfig::CAIRO PkgConfig::FONTCONFIG)
    # The tool finds the bundle beside it, so building one builds the other.
    if(TARGET Tessarine)
      add_dependencies(tessarine-render Tessarine)
      if(TARGET factory_bank)
        add_dependencies(tessarine-render factory_bank)
      endif()
      add_test(NAME render_tool
               COMMAND ${PROJECT_SOURCE_DIR}/tests/render/render_test.sh
                       $<TARGET_FILE:tessarine-render> ${CMAKE_BINARY_DIR}/bundle/Tessarine.vst3
                       ${PROJECT_SOURCE_DIR}/resources/factory-bank.json $<TARGET_FILE:make-factory-bank>)
      set_tests_properties(render_tool PROPERTIES TIMEOUT 300)
    endif()
  else()
    message(STATUS "tessarine-render skipped: libsndfile, cairo or fontconfig not found")
  endif()
endif()
