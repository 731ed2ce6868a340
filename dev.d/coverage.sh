# Sourced by dev: how much of the libraries the tests run.

# The least shares in percent, over all libraries.
leastLines=95
leastBranches=85

# Branches that only an exception takes, and those that no code leads to, are left out: the compiler
# adds them wherever memory might run out.
countCoverage() {
  gcovr --root . --object-directory build/coverage --csv -j "$cores" \
    --filter 'codec/' --filter 'include/' --filter 'link/' --filter 'messages/' \
    --filter 'protocol/' --filter 'support/' --exclude-throw-branches --exclude-unreachable-branches
}

# Sums the lines file,lines,covered,percent,branches,covered,... up by directory, into a table.
# Fails if the sum of all is too low.
sumCoverage() {
  awk -F , -v leastLines=$leastLines -v leastBranches=$leastBranches '
    function row(name, l, lc, b, bc) {
      printf "%-10s %6d %6.1f %% %8d %6.1f %%\n", name, l, l ? 100 * lc / l : 100, b,
        b ? 100 * bc / b : 100
    }
    NR > 1 {
      split($1, path, "/")
      for (i = 1; i <= 2; ++i) {
        name = i == 1 ? path[1] : "all"
        lines[name] += $2; linesRun[name] += $3; branches[name] += $5; branchesRun[name] += $6
      }
    }
    END {
      printf "%-10s %6s %8s %8s %8s\n", "directory", "lines", "run", "branches", "taken"
      count = split("codec include link messages protocol support all", names, " ")
      for (i = 1; i <= count; ++i) {
        name = names[i]
        row(name, lines[name], linesRun[name], branches[name], branchesRun[name])
      }
      exit 100 * linesRun["all"] < leastLines * lines["all"] ||
        100 * branchesRun["all"] < leastBranches * branches["all"] || !lines["all"]
    }'
}

coverage() {
  needPackages build test coverage
  configure coverage
  compile coverage
  find build/coverage -name '*.gcda' -delete
  ctest --preset coverage --parallel "$cores" >build/coverage/tests.log || {
    cat build/coverage/tests.log
    return 1
  }
  countCoverage >build/coverage/files.csv
  sumCoverage <build/coverage/files.csv || {
    echo "dev: less than $leastLines % of the lines or $leastBranches % of the branches run;" \
      "build/coverage/files.csv has each file" >&2
    return 1
  }
}
