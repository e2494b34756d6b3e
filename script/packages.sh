# Packages of Debian that the build, the tests and the benchmarks need; read
# by the other scripts.
build_packages="cmake ninja-build g++ pkg-config libsqlite3-dev
 libtomlplusplus-dev libcanberra-dev qt6-base-dev
 fonts-dejavu-core"
test_packages="libgtest-dev python3 lrzsz gkermit ckermit xvfb xauth dbus"
bench_packages="libvterm-dev lrzsz python3 xvfb xauth dbus"
fuzz_packages="clang libclang-rt-14-dev"
check_packages="clang-format clang-tidy"
