# ./run docs: the documentation as a site of pages that can be searched. Sourced by ./run.

docs_output=$root/build/docs
docs_python=(env PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3)  # the one that Debian's packages are for

build_docs() {
    say "making the documentation's site"
    "${docs_python[@]}" scripts/docs/build_site.py "$root" "$docs_output" || fail "the documentation has faults"
    echo "   $(find "$docs_output/site" -name '*.html' | wc -l) pages; the first is build/docs/site/index.html"
}
