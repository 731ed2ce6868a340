# Sourced by dev: everything for 32-bit ARM, run under qemu's user mode emulation.

# Runs the demonstration with nkctl of one preset and nkdevice of another: talk STATION PANEL.
talk() {
  mixed=build/arm/talk/$1-$2
  mkdir -p "$mixed"
  ln -sf "$(programs "$1")/nkctl" "$(programs "$2")/nkdevice" "$(programs release)/nkexplain" \
    "$mixed"
  if tools/demo.sh "$mixed" >"$mixed.log" 2>&1; then
    echo "talk: nkctl of preset $1 with nkdevice of preset $2: all went as it should"
  else
    cat "$mixed.log" >&2
    echo "dev: nkctl of preset $1 and nkdevice of preset $2 do not get on" >&2
    return 1
  fi
}

# Where the programs of a preset lie that can be started here.
programs() {
  case $1 in
    arm) echo "$root/build/arm/tests/emulated" ;;
    *) echo "$root/build/$1/tools" ;;
  esac
}

# Prints a line "WHAT: BYTES" for each figure of a preset's build: figures PRESET STRIP EMULATOR...
figures() {
  preset=$1
  strip=$2
  shift 2
  for library in build/"$preset"/support/libnkSupport.so build/"$preset"/libnkProtocol.so; do
    "$strip" -o build/arm/stripped.so "$library"
    echo "$(basename "$library"), stripped: $(($(wc -c <build/arm/stripped.so)))"
  done
  "$@" "build/$preset/tests/footprint"
}

# Prints the figures of both processors and holds them against docs/footprint.md, whose table has a
# row for each. They may differ by a twentieth, since compilers are mended too.
compareFigures() {
  paste -d '|' build/arm/footprint.arm build/arm/footprint.release | awk -F '|' '
    function near(is, kept) { return is <= kept * 1.05 && is >= kept * 0.95 }
    FNR == NR {
      gsub(/ *\| */, "|")
      if (NF == 5) rows[$2] = $3 "|" $4
      next
    }
    {
      what = $1; arm = $1; x86 = $2
      sub(/: [0-9]*$/, "", what); sub(/.*: /, "", arm); sub(/.*: /, "", x86)
      known = what in rows
      split(rows[what], kept, "|")
      held = near(arm + 0, kept[1] + 0) && near(x86 + 0, kept[2] + 0)
      if (!held) broken = 1
      printf "%-56s %8d ARM %8d x86-64%s\n", what, arm, x86, held ? "" : \
        ", not as kept: " (known ? rows[what] : "no row")
    }
    END { exit broken }' docs/footprint.md -
}

arm() {
  needPackages build test arm
  configure arm
  compile arm
  echo "left out here: soak, which watches the memory of processes, and would watch qemu's;" \
    "./dev soak runs it on this machine's processor"
  ctest --preset arm --parallel "$cores" --exclude-regex '^soak\.' "$@"
  configure release -DNK_BUILD_TESTS=ON
  compile release nkctl nkdevice nkexplain footprint
  talk release arm
  talk arm release
  figures arm arm-linux-gnueabihf-strip qemu-arm >build/arm/footprint.arm
  figures release strip >build/arm/footprint.release
  if compareFigures; then
    echo "footprint: as docs/footprint.md says, give or take a twentieth"
  else
    echo "dev: the figures above are not those of docs/footprint.md; if they should be, write" \
      "them there" >&2
    return 1
  fi
}
