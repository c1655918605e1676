# The Debian packages that each job needs.
build_packages=(cmake g++ libcairo2-dev libcli11-dev libfmt-dev libsqlite3-dev ninja-build
  nlohmann-json3-dev pkg-config zlib1g-dev)
test_packages=("${build_packages[@]}" fish libedf-dev libgtest-dev libsndfile1-dev mandoc
  python3-jsonschema python3-numpy python3-pytest python3-scipy zsh)
lint_packages=("${test_packages[@]}" clang-format clang-tidy cppcheck)
fuzz_packages=(clang cmake libclang-rt-14-dev ninja-build zlib1g-dev)
libcxx_packages=(clang-22 cmake libc++-22-dev libc++abi-22-dev ninja-build zlib1g-dev)
bench_packages=(cmake g++ libbenchmark-dev libbiosig-dev libedf-dev libfmt-dev libmatio-dev
  libsndfile1-dev ninja-build pkg-config zlib1g-dev)
# debootstrap and lintian are those of the test.
package_packages=("${build_packages[@]}" debootstrap dpkg-dev file lintian)
