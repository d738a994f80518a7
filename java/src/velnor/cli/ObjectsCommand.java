package velnor.cli;

import java.io.IOException;
import java.util.List;
import java.util.Locale;
import java.util.stream.Collectors;

import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKO;
import velnor.Session;

@Command(name = "objects", description = "List the objects on a token; the private ones show after a login.")
final class ObjectsCommand extends SessionCommand {
    @Mixin
    private KeyOptions selection;

    @Option(names = "--class", paramLabel = "NAME",
            description = "Only objects of a class, such as PRIVATE_KEY or CERTIFICATE.")
    private String objectClass;

    ObjectsCommand() {
        super(false, false);
    }

    @Override
    int run(Session session) throws IOException {
        List<Attribute> template = selection.template();
        if (objectClass != null) {
            template.add(new Attribute(CKA.CLASS, code(objectClass)));
        }
        List<Fields> objects = session.find(template.toArray(new Attribute[0])).stream().map(ObjectFields::of)
                .collect(Collectors.toList());
        standard.report(new Fields().with("objects", objects), fields -> ObjectFields.table(objects));
        return ExitCode.OK;
    }

    private static int code(String name) {
        return CKO.forName(name.toUpperCase(Locale.ROOT).replace('-', '_'))
                .orElseThrow(() -> Failure.usage("PKCS#11 has no object class " + name));
    }
}
