// The side navigation: sections open and close by a click, and the page that is read is in sight.
(function () {
    'use strict';
    const side = document.querySelector('.wy-side-scroll');
    if (!side) {
        return;
    }

    // The theme takes links to # for the page that is read, and opens all of them.
    side.querySelectorAll('.wy-menu-vertical a[href="#"]').forEach(section => {
        section.removeAttribute('href');
        section.addEventListener('click', () => section.querySelector('.toctree-expand').click());
    });

    window.addEventListener('load', () => {
        const page = [...side.querySelectorAll('.wy-menu-vertical a.current')].pop();
        if (page && page.getBoundingClientRect().bottom > 0.8 * window.innerHeight) {
            side.scrollTop += page.getBoundingClientRect().top - 0.4 * window.innerHeight;
        }
    });
})();
