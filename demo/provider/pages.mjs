// The pages that the user sees. They load nothing from elsewhere and run no scripts.

const escapes = { '&': '&amp;', '<': '&lt;', '>': '&gt;', '"': '&quot;', "'": '&#39;' };
const escape = (text) => String(text ?? '').replace(/[&<>"']/g, (char) => escapes[char]);

const page = (title, content) => `<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<title>${title}</title>
<style>
body { font: 1em sans-serif; max-width: 22em; margin: 4em auto; padding: 0 1em; }
input, button { font: inherit; padding: 0.4em 0.8em; margin: 0.3em 0; }
</style>
</head>
<body>
<h1>${title}</h1>
${content}
</body>
</html>
`;

const form = (content, action, label) => `<form method="post">
${content}
<button name="action" value="${action}">${label}</button>
<button name="action" value="deny" formnovalidate>Cancel</button>
</form>`;

export const signInPage = (client) =>
    page(
        'Sign in',
        form(
            `<p>to continue to <b>${escape(client)}</b>. Any name will do.</p>
<p><label>User name <input name="user" autocomplete="username" required autofocus></label></p>`,
            'login',
            'Sign in',
        ),
    );

export const consentPage = (client, user, scopes) =>
    page(
        'Allow access',
        form(
            `<p><b>${escape(client)}</b> asks <b>${escape(user)}</b> for:</p>
<ul>${scopes.map((scope) => `<li>${escape(scope)}</li>`).join('')}</ul>`,
            'consent',
            'Allow',
        ),
    );

export const errorPage = (error, description) =>
    page('Sign-in failed', `<p>${escape(error)}</p>\n<p>${escape(description)}</p>`);
