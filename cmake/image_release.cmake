# Reads image/release into a generated header, and sees to it that an edit there is noticed.
set(MIGR_RELEASE_FILE ${CMAKE_SOURCE_DIR}/image/release)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${MIGR_RELEASE_FILE})

# read_release_word(KEY PATTERN MEANT): the word behind KEY in image/release, as MIGR_IMAGE_<KEY>; it must match.
function(read_release_word key pattern meant)
  file(STRINGS ${MIGR_RELEASE_FILE} line REGEX "^${key} ")
  if(NOT line MATCHES "^${key} (${pattern})$")
    message(FATAL_ERROR "${MIGR_RELEASE_FILE}: needs one line \"${key} ${meant}\"")
  endif()
  string(TOUPPER ${key} name)
  set(MIGR_IMAGE_${name} ${CMAKE_MATCH_1} PARENT_SCOPE)
endfunction()

read_release_word(release "[1-9][0-9]*\\.[0-9][0-9]+" "6.05, with at least two digits behind the point")
read_release_word(build "[0-9][0-9][0-9][0-9]" "0727, with four digits")
read_release_word(date "[0-9][0-9][0-9][0-9][0-9][0-9]" "191023, year, month and day")

string(REGEX MATCH "^([0-9]+)\\.0*([0-9]+)$" MIGR_IMAGE_NUMBERS ${MIGR_IMAGE_RELEASE})
set(MIGR_IMAGE_MAJOR ${CMAKE_MATCH_1})
set(MIGR_IMAGE_MINOR ${CMAKE_MATCH_2})
configure_file(cmake/image_release.h.in ${CMAKE_BINARY_DIR}/generated/driver/image_release.h)
