# shellcheck shell=bash
# Sourced by the scripts that run what was built: a display and a GPU driver that are the same on every machine.

display_pid=
display_dir=

stop_virtual_display() {
  [[ -z $display_pid ]] || kill "$display_pid" 2>/dev/null || true
  [[ -z $display_dir ]] || rm -rf "$display_dir"
}

# Mesa's software driver, also beside a GPU and another vendor's driver.
use_software_driver() {
  export LIBGL_ALWAYS_SOFTWARE=1
  local mesa=/usr/share/glvnd/egl_vendor.d/50_mesa.json
  [[ ! -f $mesa ]] || export __EGL_VENDOR_LIBRARY_FILENAMES=$mesa
  # The same for Vulkan; older loaders know it by its second name.
  local lavapipe
  lavapipe=$(find /usr/share/vulkan/icd.d -name 'lvp_icd*.json' 2>/dev/null | head -n 1)
  [[ -z $lavapipe ]] || export VK_DRIVER_FILES=$lavapipe VK_ICD_FILENAMES=$lavapipe
}

# An X server in memory, on a free number of its own choice, until the script ends. What is run afterwards sees it and no
# other display.
start_virtual_display() {
  display_dir=$(mktemp -d)
  trap stop_virtual_display EXIT
  mkfifo "$display_dir/number"
  Xvfb -displayfd 3 -screen 0 1920x1080x24 -nolisten tcp 3>"$display_dir/number" >"$display_dir/log" 2>&1 &
  display_pid=$!
  local number=
  read -r -t 30 number <"$display_dir/number" || die "the virtual display does not start: $(tail -n 1 "$display_dir/log")"
  mkdir -m 700 "$display_dir/runtime"
  export DISPLAY=:$number XDG_RUNTIME_DIR=$display_dir/runtime
  export SDL_AUDIODRIVER=dummy
  unset WAYLAND_DISPLAY SDL_VIDEODRIVER
}
