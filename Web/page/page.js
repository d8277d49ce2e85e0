// A script of the kind that browsers also run in pages opened from disk, where they load no module beside the page.
if (location.protocol === 'file:') {
    document.getElementById('from-disk').hidden = false;
}
