// What the pages have in common. A text that holds the secret is a theft, and is told to the page and to the server.
function tell(word) {
    const line = document.createElement('p');
    line.textContent = word;
    (document.body || document.documentElement).append(line);
}
function got(how, text) {
    if (!/QSECRET|root:x:0/.test(String(text))) return;
    tell('STOLEN ' + how);
    new Image().src = '@WEB@/stolen?' + encodeURIComponent(how);
}
// Each way is tried for itself, whether others throw or wait for ever.
function attempt(how, way) {
    try {
        Promise.resolve(way()).then((text) => got(how, text), () => 0);
    } catch {}
}
function put(html) {
    document.body.insertAdjacentHTML('beforeend', html);
}
