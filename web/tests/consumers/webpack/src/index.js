// webpack's default entry: the shared application.
import '../app.js';
