# Each library under the name that the link lines of the layers use.
find_package(PkgConfig REQUIRED)
foreach(dependency IN ITEMS
        upnp:libupnp microhttpd:libmicrohttpd xml2:libxml-2.0 curl:libcurl pq:libpq json:jsoncpp pcre2:libpcre2-8
        spdlog:spdlog taglib:taglib exiv2:exiv2 vips:vips-cpp)
    string(REPLACE ":" ";" pair ${dependency})
    list(GET pair 0 name)
    list(GET pair 1 module)
    pkg_check_modules(${name} REQUIRED IMPORTED_TARGET GLOBAL ${module})
endforeach()
pkg_check_modules(ffmpeg REQUIRED IMPORTED_TARGET GLOBAL libavformat libavcodec libavutil)
