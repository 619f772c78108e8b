#!/usr/bin/env bash
# Writes the fingerprint of the public headers, after a reviewed change of them.
source tools/common.sh
tools/setup.sh build
Build native print_header_fingerprint
file=tests/shape/header_fingerprint.txt
build/native/tests/shape/print_header_fingerprint >"$file.new"
[[ -s $file.new ]] || Fail "print_header_fingerprint printed nothing."
mv "$file.new" "$file"
cat "$file"
