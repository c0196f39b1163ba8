# make-images draws the editor's images from code. resources/ includes this file first (it runs
# the tool and embeds its PNGs), and tools/ includes it again with the other tools' rules.
include_guard(GLOBAL)

find_package(PkgConfig REQUIRED)
pkg_check_modules(TESS_IMAGES_CAIRO REQUIRED IMPORTED_TARGET cairo)

add_executable(make-images ${CMAKE_CURRENT_LIST_DIR}/make-images.cpp)
target_link_libraries(make-images PRIVATE PkgConfig::TESS_IMAGES_CAIRO)
target_compile_definitions(make-images PRIVATE
  TESS_UI_FONT="/usr/share/fonts/opentype/league-spartan/LeagueSpartan-Bold.otf"
  TESS_STRIP_FONT="/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf")

# The numbers of the images the tool draws, one table line each: "    {101, ...".
file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/make-images.cpp image_lines REGEX "^    \\{[0-9]+, \"")
set(TESS_IMAGE_NUMBERS "")
foreach(line IN LISTS image_lines)
  string(REGEX MATCH "[0-9]+" number "${line}")
  list(APPEND TESS_IMAGE_NUMBERS ${number})
endforeach()
# A new line in the table needs a new list.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/make-images.cpp)
