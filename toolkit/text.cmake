# The two text engines: TrueType text through stb_truetype with the embedded fonts, and
# glyph-strip fonts that write straight into pixel memory.
add_library(toolkit_text STATIC
  ${CMAKE_CURRENT_LIST_DIR}/TrueTypeText.cpp
  ${CMAKE_CURRENT_LIST_DIR}/BitmapFont.cpp)
target_include_directories(toolkit_text PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(toolkit_text PUBLIC resources)
