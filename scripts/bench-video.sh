# shellcheck shell=bash
# Sourced by the scripts that measure video: what is built, where the clips lie, and where the table goes.

# build_for_video TARGET: builds it unless `build_dir` says where it was built, and goes to a folder that is gone when
# the script ends.
build_for_video() {
  "$ROOT/scripts/install-dependencies" build run test >&2
  if [[ -z $build_dir ]]; then
    build_dir=$ROOT/build/render
    {
      cmake -S "$ROOT" -B "$build_dir" -G Ninja --log-level=WARNING -DCMAKE_BUILD_TYPE=Release \
        -DZEL_BUILD_TESTS=OFF -DZEL_BUILD_EXAMPLES=OFF
      cmake --build "$build_dir" -j "$JOBS" --target "$1"
    } >&2
  fi
  use_software_driver
  folder=$(mktemp -d)
  trap 'rm -rf "$folder"' EXIT
  cd "$folder" || die "the folder $folder is gone"
}

# fill_page NAME: puts the file `table` between the page's marks of that name, if a page was asked for.
fill_page() {
  [[ -n $output ]] || return 0
  grep -q "^<!-- $1 -->\$" "$output" || die "$output has no line <!-- $1 -->"
  sed -i -e "/^<!-- $1 -->\$/,/^<!-- end of $1 -->\$/{/^<!-- $1 -->\$/r table" \
    -e "/^<!-- $1 -->\$/b" -e "/^<!-- end of $1 -->\$/b" -e 'd}' "$output"
}
