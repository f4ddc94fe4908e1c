// ESLint for the package, the page and their tests: the recommended rules, with the globals of the
// place each file runs in (a page, a worker, Node).
import js from '@eslint/js';
import globals from 'globals';

export default [
    { ignores: ['dist/', '**/node_modules/', 'tests/consumers/**/dist/'] },
    js.configs.recommended,
    {
        languageOptions: { ecmaVersion: 2024, sourceType: 'module', globals: { ...globals.browser } },
        rules: { 'no-unused-vars': ['error', { argsIgnorePattern: '^_', caughtErrors: 'none' }] },
    },
    { files: ['src/*worker*.js', 'src/engine-host.js'], languageOptions: { globals: { ...globals.worker } } },
    {
        files: ['src/vireo.node*.js', 'src/cli.js', '**/*.mjs', 'eslint.config.js'],
        languageOptions: { globals: { ...globals.node } },
    },
];
