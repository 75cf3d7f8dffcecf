// Before any script of the page, in the page's world: says when the page begins to watch what comes into view.
(() => {
    const { observe } = IntersectionObserver.prototype;
    IntersectionObserver.prototype.observe = function (target) {
        document.dispatchEvent(new Event('quirelle-observe'));
        return observe.call(this, target);
    };
})();
