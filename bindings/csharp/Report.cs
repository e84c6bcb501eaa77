// Reports one event of each kind and waits until they are sent. tav.dll must be beside the program.
using System;

internal static class Report
{
    private static int Main()
    {
        var tav = Tav.Library.BesideProgram();
        tav.AddProductInfo("Edition", "Pro");
        bool sent;
        using (tav.Run("BindingHost", "1.0", "1.0.0.1", Tav.Constants.LANGUAGE_EN_US))
        {
            tav.NewEvent("DocumentOpened").Add("File", "Übersicht 四.md").Add("Pages", 12).Log();

            var session = tav.SessionBegin();
            session.LogPlace("Editor");
            session.NewCommandEvent("Save").Log();
            session.NewErrorEvent("E1", "full").AddTraceItem("Write", "io", "").Log();
            session.IncrementCounter("Words", "bad");
            session.FlushAggregates();
            session.Dispose();
            try
            {
                session.LogIdle();
            }
            catch (ObjectDisposedException)
            {
                tav.NewEvent("SecondUseRefused").Log();
            }

            using (var component = tav.CreateComponent("Spelling", "1.3"))
            {
                component.NewEvent("Checked").Add("Words", 200).Log();
            }
            sent = tav.Commit();
        }
        Console.WriteLine(sent ? "The events were sent." : "Not everything was sent.");
        return sent ? 0 : 1;
    }
}
