package velnor.jca;

import java.io.IOException;
import java.nio.file.Path;
import java.util.HashMap;
import java.util.Map;

import velnor.Cryptoki;
import velnor.OpenOptions;

/** The modules that configurations name. Each is opened once, whoever needs it, and stays open. */
final class Modules {
    private static final Map<String, Cryptoki> OPENED = new HashMap<>();

    private Modules() {
    }

    /** Opens a module, or gives the one that is open; that goes on as it was opened. */
    static synchronized Cryptoki open(String library, OpenOptions options) {
        Cryptoki known = OPENED.get(library);
        if (known == null || !known.isOpen()) {
            known = Cryptoki.allOpen().stream().filter(open -> isSame(open.modulePath(), library)).findFirst()
                    .orElse(null);
        }
        if (known == null) {
            known = Cryptoki.open(library, options);
        }
        OPENED.put(library, known);
        return known;
    }

    /** A name without a directory is looked up by the loader, and only the loader knows what it finds. */
    private static boolean isSame(String path, String library) {
        if (path.isEmpty() || library.indexOf('/') < 0) {
            return false;
        }
        try {
            return Path.of(path).toRealPath().equals(Path.of(library).toRealPath());
        } catch (IOException e) {
            return path.equals(library);
        }
    }
}
