# The libraries from the distribution that the project stands on.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(CLI11 REQUIRED)

pkg_check_modules(EXIV2 REQUIRED IMPORTED_TARGET exiv2>=0.27 exiv2<0.28)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(SQLITE3 REQUIRED IMPORTED_TARGET sqlite3)
pkg_check_modules(LIBPQ REQUIRED IMPORTED_TARGET libpq>=14)
pkg_check_modules(LIBAV REQUIRED IMPORTED_TARGET libavformat libavcodec libavutil)
pkg_check_modules(HEIF REQUIRED IMPORTED_TARGET libheif)
pkg_check_modules(TIFF REQUIRED IMPORTED_TARGET libtiff-4)
