# The packages to test, and whether they are of these sources. Sourced by scripts/test-packages and scripts/test-service, which
# have a function skip.
packages=build/packages
sources=(CMakeLists.txt cmake foundation CIMOM_Indications Indications server providers velmd velmctl packaging)

require_packages() {
    local oldest
    ls "$packages"/*.deb >/dev/null 2>&1 || skip "there are no packages; scripts/package makes them"
    oldest=$(ls -t "$packages"/*.deb | tail -n 1)
    [[ -z $(find "${sources[@]}" -newer "$oldest" -print -quit) ]] ||
        skip "the sources are newer than the packages; scripts/package makes them"
}
