// The search page: finds the words of ?q= in the index, whole or as beginnings, and shows where they stand.
(function () {
    'use strict';
    const MOST_RESULTS = 40, SUMMARY = 220;
    const field = document.getElementById('mkdocs-search-query');
    const list = document.getElementById('mkdocs-search-results');
    if (!field || !list) {
        return;
    }

    function load(name, next) {
        const script = document.createElement('script');
        script.src = base_url + '/search/' + name;
        script.onload = next;
        document.head.appendChild(script);
    }

    // A member's name in words: NegotiatePacketSize is found by packet size.
    function split(title) {
        return title.replace(/([a-z0-9])([A-Z])/g, '$1 $2');
    }

    function index(entries) {
        lunr.tokenizer.separator = /[\s\-.,:;()<>"'`&=\/]+/;
        return lunr(function () {
            this.ref('location');
            this.field('title', { boost: 10 });
            this.field('text');
            entries.forEach(entry => this.add(Object.assign({}, entry, { title: entry.title + ' ' + split(entry.title) })));
        });
    }

    // What matches every word, or any where nothing does.
    function find(built, words) {
        const found = lunr.tokenizer(words).map(token => token.toString()).filter(token => token).map(token =>
            new Map(built.query(query => {
                query.term(lunr.stemmer(new lunr.Token(token)).toString(), { boost: 10, usePipeline: false });
                query.term(token, { boost: 20, usePipeline: false });
                query.term(token, { wildcard: lunr.Query.wildcard.TRAILING, usePipeline: false });
            }).map(result => [result.ref, result.score])));
        const scores = new Map();
        found.forEach(one => one.forEach((score, ref) => scores.set(ref, (scores.get(ref) || 0) + score)));
        const all = Array.from(scores.keys()).filter(ref => found.every(one => one.has(ref)));
        return (all.length > 0 ? all : Array.from(scores.keys())).sort((a, b) => scores.get(b) - scores.get(a));
    }

    function excerpt(text, words) {
        const first = words.trim().split(/\s+/)[0].toLowerCase();
        const from = Math.max(0, text.toLowerCase().indexOf(first) - SUMMARY / 3);
        const cut = text.substring(from, from + SUMMARY);
        return (from > 0 ? '... ' : '') + cut + (from + SUMMARY < text.length ? ' ...' : '');
    }

    function show(results, entries, words) {
        list.textContent = results.length === 0 && words.trim() ? list.getAttribute('data-no-results-text') : '';
        results.slice(0, MOST_RESULTS).forEach(ref => {
            const entry = entries.get(ref);
            const page = entries.get(ref.split('#')[0]);
            const item = document.createElement('article'), title = document.createElement('h3');
            const link = document.createElement('a'), summary = document.createElement('p');
            link.href = base_url + '/' + ref;
            link.textContent = page && page.title !== entry.title ? page.title + ': ' + entry.title : entry.title;
            summary.textContent = excerpt(entry.text, words);
            title.appendChild(link);
            item.append(title, summary);
            list.appendChild(item);
        });
    }

    load('lunr.js', () => load('search_index.js', () => {
        const entries = new Map(window.searchEntries.map(entry => [entry.location, entry]));
        const built = index(window.searchEntries);
        const search = () => show(find(built, field.value), entries, field.value);
        field.value = new URLSearchParams(window.location.search).get('q') || '';
        field.addEventListener('input', search);
        field.form.addEventListener('submit', event => { event.preventDefault(); search(); });
        search();
    }));
})();
