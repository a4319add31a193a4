# ./run docs: the documentation as a site of pages that can be searched. Sourced by ./run.

docs_output=$root/build/docs
docs_python=(env PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3)  # the one that Debian's packages are for

build_docs() {
    say "making the documentation's site"
    "${docs_python[@]}" scripts/docs/build_site.py "$root" "$docs_output" || fail "the documentation has faults"
    echo "   $(find "$docs_output/site" -name '*.html' | wc -l) pages; the first is build/docs/site/index.html"
}

# Everything in the pages that can be tried: the generator's own tests, links, notes, C++ and scripts.
check_docs() {
    build windows VexKamCOMWrapper
    build native softcam softlink
    wine_start
    register_server
    wine_stop  # the workers' prefixes are made from this one's registry, which has to be on disk
    "${docs_python[@]}" -m unittest discover -s tests/docs -t tests/docs -p '*_test.py'
    build_docs
    "${docs_python[@]}" scripts/docs/check.py "$root" "$docs_output"
}
