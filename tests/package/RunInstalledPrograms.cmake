# SPDX-FileCopyrightText: 2026 The mivo developers
# SPDX-License-Identifier: BSD-3-Clause

# Included by the package tests: runs the installed tools of ${bin_dir} end to end,
# with no library path set, so that they must find their libraries through their own
# relative run path: mivo-synth makes a short recording, mivo-tilegen its pyramid, and
# mivo-viewer renders it to a PNG.
function(run_installed_programs bin_dir work_dir)
  set(ENV{LD_LIBRARY_PATH} "")
  foreach(program mivo-synth mivo-tilegen mivo-viewer)
    if(NOT EXISTS "${bin_dir}/${program}")
      message(FATAL_ERROR "${program} is not installed in ${bin_dir}")
    endif()
  endforeach()
  run("${bin_dir}/mivo-synth" --duration 2 --sample-rate 50k "${work_dir}/scene")
  run("${bin_dir}/mivo-tilegen" --quiet "${work_dir}/scene.sigmf-meta" "${work_dir}/tiles")
  run("${bin_dir}/mivo-viewer" "${work_dir}/tiles" --size 320x200 --timeout 60
      --screenshot "${work_dir}/view.png")
  file(SIZE "${work_dir}/view.png" png_size)
  if(png_size LESS 1000)
    message(FATAL_ERROR "the installed viewer wrote no picture")
  endif()
endfunction()
