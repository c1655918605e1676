# The Debian packages that each job needs.
build_packages=(cmake g++ libcairo2-dev libcli11-dev libedf-dev libfmt-dev libhdf5-dev libmatio-dev
  libsndfile1-dev libsqlite3-dev ninja-build nlohmann-json3-dev pkg-config zlib1g-dev)
test_packages=("${build_packages[@]}" fish libgtest-dev mandoc octave python3-h5netcdf python3-h5py
  python3-jsonschema python3-numpy python3-pytest python3-scipy python3-xarray sox zsh)
lint_packages=("${test_packages[@]}" clang-format clang-tidy cppcheck)
fuzz_packages=(clang cmake libclang-rt-14-dev ninja-build zlib1g-dev)
libcxx_packages=(clang-22 cmake libc++-22-dev libc++abi-22-dev ninja-build zlib1g-dev)
bench_packages=("${build_packages[@]}" libbenchmark-dev libbiosig-dev python3-numpy sox)
# debootstrap and lintian are those of the test.
package_packages=("${build_packages[@]}" debootstrap dpkg-dev file lintian)
