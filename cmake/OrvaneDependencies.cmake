# Third-party libraries, all from Debian packages (scripts/install-deps.sh installs them).
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(nlohmann_json 3.10 REQUIRED)
find_package(tl-expected REQUIRED)
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
pkg_check_modules(SNDFILE REQUIRED IMPORTED_TARGET sndfile)
pkg_check_modules(SOXR REQUIRED IMPORTED_TARGET soxr)
pkg_check_modules(FFTW3 REQUIRED IMPORTED_TARGET fftw3)
# Single precision, for the spectrum meter.
pkg_check_modules(FFTW3F REQUIRED IMPORTED_TARGET fftw3f)
# The audio output backend (ALSA, PulseAudio and JACK as Debian builds it).
pkg_check_modules(RTAUDIO REQUIRED IMPORTED_TARGET rtaudio)
# AAC in MPEG-4: decoding sources, encoding previews.
pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET libavformat libavcodec libavutil libswresample)
pkg_check_modules(CAIRO REQUIRED IMPORTED_TARGET cairo)
pkg_check_modules(PANGOCAIRO REQUIRED IMPORTED_TARGET pangocairo)
# Logos in the mastering report: PNG, JPEG and TIFF.
pkg_check_modules(GDKPIXBUF REQUIRED IMPORTED_TARGET gdk-pixbuf-2.0)
if(ORVANE_BUILD_TESTS)
    find_package(GTest REQUIRED)
    # Reads the PDFs back in the delivery tests.
    pkg_check_modules(POPPLER_CPP REQUIRED IMPORTED_TARGET poppler-cpp)
    # Reads exported CUE sheets back in the delivery tests, as other programs will.
    pkg_check_modules(LIBCUE REQUIRED IMPORTED_TARGET libcue)
endif()
if(ORVANE_BUILD_TESTS OR ORVANE_BUILD_BENCH)
    # The peer the loudness benchmark compares with; never linked into the program.
    pkg_check_modules(EBUR128 REQUIRED IMPORTED_TARGET libebur128)
endif()
if(ORVANE_BUILD_BENCH)
    find_package(benchmark REQUIRED)
    pkg_check_modules(SAMPLERATE REQUIRED IMPORTED_TARGET samplerate)
endif()
# The desktop's toolkit (qt6-base-dev); only app/ links it.
if(ORVANE_BUILD_APP)
    find_package(Qt6 6.2 REQUIRED COMPONENTS Widgets)
    if(ORVANE_BUILD_TESTS)
        find_package(Qt6 6.2 REQUIRED COMPONENTS Test)
    endif()
endif()
