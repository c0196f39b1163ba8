# The adapter as a library (linked by the module and by tests), the module itself, and the
# bundle around it.
add_library(tess_vst3 STATIC
  ClassId.cpp ModuleState.cpp RunLoopTicks.cpp SingleComponentEffect.cpp VST3Wrap.cpp VST3WrapEditorView.cpp)
target_include_directories(tess_vst3 PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(tess_vst3 PUBLIC core vst3sdk)
set_target_properties(tess_vst3 PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)

set(TESS_BUNDLE_DIR "${CMAKE_BINARY_DIR}/bundle/Tessarine.vst3")
set(TESS_BUNDLE_DIR "${TESS_BUNDLE_DIR}" PARENT_SCOPE)
add_library(Tessarine MODULE ModuleEntry.cpp)
target_link_libraries(Tessarine PRIVATE tess_vst3)
# Only the three entry points leave the module; the host's own copies of the SDK's symbols must
# never replace ours.
set_target_properties(Tessarine PROPERTIES PREFIX "" OUTPUT_NAME Tessarine
  CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
  LIBRARY_OUTPUT_DIRECTORY "${TESS_BUNDLE_DIR}/Contents/x86_64-linux"
  LINK_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/exports.map")
target_link_options(Tessarine PRIVATE -Wl,--no-undefined -Wl,-Bsymbolic -Wl,--exclude-libs,ALL
  -Wl,--version-script=${CMAKE_CURRENT_SOURCE_DIR}/exports.map)

# moduleinfo.json describes the factory without loading the module: written from the built
# module itself, so the two cannot disagree.
add_executable(make-moduleinfo MakeModuleInfo.cpp)
target_link_libraries(make-moduleinfo PRIVATE vst3sdk)
add_custom_command(TARGET Tessarine POST_BUILD
  COMMAND ${CMAKE_COMMAND} -E make_directory "${TESS_BUNDLE_DIR}/Contents/Resources"
  COMMAND make-moduleinfo "$<TARGET_FILE:Tessarine>" "${TESS_BUNDLE_DIR}/Contents/Resources/moduleinfo.json"
  COMMENT "Writing moduleinfo.json")

set(VST3_INSTALL_DIR "$ENV{HOME}/.vst3" CACHE PATH "Where the bundle is installed")
install(DIRECTORY "${TESS_BUNDLE_DIR}" DESTINATION "${VST3_INSTALL_DIR}" USE_SOURCE_PERMISSIONS)
