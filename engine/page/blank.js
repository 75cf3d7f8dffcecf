// Makes a blank page load nothing from anywhere.
() => {
    const policy = document.createElement('meta');
    policy.httpEquiv = 'Content-Security-Policy';
    policy.content = "default-src 'none'; style-src 'unsafe-inline'; img-src data:; font-src data:";
    document.head.append(policy);
    return { isReady: policy.isConnected };
}
