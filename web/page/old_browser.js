// Says so where a browser is too old to read the page's modules; written as all of them read it.
addEventListener('load', function () {
    if (document.documentElement.hasAttribute('data-started')) return;
    document.getElementById('headline').textContent = 'This page does not start';
    document.getElementById('explanation').textContent =
        'The browser is too old, or a part did not arrive. Update it, or load the page again.';
    document.getElementById('listen').hidden = true;
});
