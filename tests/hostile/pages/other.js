document.documentElement.dataset.other = 1; var other = 'ALIVE-SCRIPT'; document.addEventListener('DOMContentLoaded', () => tell(other));
