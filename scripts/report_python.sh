# shellcheck shell=bash
# The Python of the reports, in build/bench/python, with the packages and the peers of
# bench/requirements.txt. Sourced from the root of the tree.

echo "-- python: the reports' packages and the peers, in build/bench/python"
python3 -m venv build/bench/python
while read -r package; do
  case "$package" in '' | '#'*) continue ;; esac
  build/bench/python/bin/pip install --quiet --disable-pip-version-check "$package" ||
    echo "-- python: $package does not install; the report will say so"
done <bench/requirements.txt
